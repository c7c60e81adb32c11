#pragma once

#include <QByteArray>

#include <cstring>
#include <initializer_list>

// Helpers to write bytes in tests. They use no codes or builders of the driver: a mistake there
// would otherwise cancel out.
namespace bytes {

// Hex digits; spaces are ignored.
inline QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

inline QByteArray floats(std::initializer_list<float> values)
{
    QByteArray out(static_cast<qsizetype>(values.size() * sizeof(float)), '\0');
    std::memcpy(out.data(), values.begin(), static_cast<std::size_t>(out.size()));
    return out;
}

inline QByteArray u16(unsigned int value)
{
    const char out[]{static_cast<char>(value), static_cast<char>(value >> 8)};
    return {out, 2};
}

inline QByteArray u32(unsigned int value)
{
    return u16(value) + u16(value >> 16);
}

inline QByteArray code(int value)
{
    return {1, static_cast<char>(value)};
}

// "S", type, length, payload, checksum of the payload.
inline QByteArray packet(char type, const QByteArray &payload)
{
    unsigned int sum = 0;
    for (const char byte : payload)
        sum += static_cast<unsigned char>(byte);
    return QByteArray("S") + type + u16(static_cast<unsigned int>(payload.size()) + 6) + payload +
           u16(sum);
}

// One streamed quaternion block, x y z w.
inline QByteArray quaternionPacket(float x, float y, float z, float w)
{
    return packet('D', code(2) + floats({x, y, z, w}));
}

} // namespace bytes
