#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

namespace fuzz {

// A second implementation of the receiver by docs/protocol.md, without code of the driver. It is
// slow and simple, for comparison with the driver.
class ReceiverModel
{
public:
    // Indexed by block code; a value is present once it has arrived.
    std::array<std::vector<float>, 24> floats;
    std::array<std::uint32_t, 24> integers{};
    std::uint16_t hardwareVersion = 0;
    std::vector<float> calibration;
    std::set<int> fresh; // codes of new values; reading a value erases its code
    int quaternions = 0; // blocks decoded, equal to signals emitted
    int fields = 0;
    int rawFields = 0;

    // Returns true if the byte completed a packet, intact or not.
    bool feed(std::uint8_t byte)
    {
        if (m_count == 0 && byte != 'S')
            return false;
        if (m_count == 1 && byte != 'D' && byte != 'G') {
            m_count = 0;
            return false;
        }
        if (m_count >= 4 && (stated() == 0 || stated() > kCapacity)) {
            m_count = 0;
            return false;
        }
        m_memory[m_count++] = byte;
        // A stated length below five never matches: five bytes have been received before the check.
        const bool complete = m_count > 4 && m_count == stated();
        const std::size_t length = m_count;
        if (complete || m_count == kCapacity)
            m_count = 0;
        if (complete)
            decode(m_memory.data(), static_cast<int>(length));
        return complete;
    }

    bool isHunting() const { return m_count == 0; }

    // Decodes a packet without feed(): `bytes` is the memory, `length` the number of bytes
    // received. Returns false if the packet is refused.
    bool decode(const std::uint8_t *bytes, int length)
    {
        if (length < 4)
            return false;
        const int size = bytes[2] + 256 * bytes[3];
        if (size > length || size < 2)
            return false;
        unsigned sum = 0;
        for (int i = 4; i < size - 2; ++i)
            sum += bytes[i];
        if (sum % 65536 != bytes[size - 2] + 256U * bytes[size - 1])
            return false;
        for (int i = 4; i < length - 2;)
            i += bytes[1] == 'D'   ? dataBlock(bytes + i)
                 : bytes[1] == 'G' ? replyBlock(bytes + i, i, length - 2)
                                   : 1;
        return true;
    }

private:
    static constexpr std::size_t kCapacity = 4096;

    std::size_t stated() const { return m_memory[2] + 256U * m_memory[3]; }

    void takeFloats(int code, const std::uint8_t *from, std::size_t count)
    {
        std::vector<float> &to = floats[static_cast<std::size_t>(code)];
        to.resize(count);
        std::memcpy(to.data(), from, count * sizeof(float));
        fresh.insert(code);
    }

    void takeInteger(int code, const std::uint8_t *from, std::size_t size)
    {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value |= static_cast<std::uint32_t>(from[i]) << 8 * i;
        integers[static_cast<std::size_t>(code)] = value;
        fresh.insert(code);
    }

    int dataBlock(const std::uint8_t *p)
    {
        switch (*p) {
        case 2:
            takeFloats(*p, p + 1, 4);
            ++quaternions;
            return 17;
        case 6:
            ++fields;
            break;
        case 14:
            ++rawFields;
            break;
        case 0:
        case 1:
        case 4:
        case 5:
            break;
        case 3:
            takeFloats(*p, p + 1, 1);
            return 5;
        case 22:
            fresh.insert(22);
            return 37;
        default:
            return 1;
        }
        takeFloats(*p, p + 1, 3);
        return 13;
    }

    int replyBlock(const std::uint8_t *p, int index, int end)
    {
        switch (*p) {
        case 7:
        case 17:
            takeInteger(*p, p + 1, 4);
            return 5;
        case 8:
        case 9:
            takeInteger(*p, p + 1, 2);
            return 3;
        case 10:
        case 11:
        case 18:
        case 19:
            if (p[1] == 1)
                fresh.insert(*p);
            return 2;
        case 15:
            takeFloats(*p, p + 1, 12);
            return 49;
        case 16:
            takeInteger(*p, p + 1, 2);
            hardwareVersion = static_cast<std::uint16_t>(p[3] + 256 * p[4]);
            return 5;
        case 20:
            return end > 1024 ? 1 : calibrationRecords(p, end - index);
        case 21:
            takeInteger(*p, p + 1, 4);
            return 1;
        case 23:
            takeFloats(*p, p + 1, 1);
            return 5;
        default:
            return 1;
        }
    }

    int calibrationRecords(const std::uint8_t *p, int available)
    {
        int offset = 1;
        calibration.clear();
        for (; offset < available; offset += 12) {
            std::array<float, 3> record;
            std::memcpy(record.data(), p + offset, sizeof record);
            calibration.insert(calibration.end(), record.begin(), record.end());
        }
        fresh.insert(20);
        return offset;
    }

    // A block near the end of a packet also reads the bytes that earlier packets left after it.
    std::vector<std::uint8_t> m_memory = std::vector<std::uint8_t>(kCapacity + 64);
    std::size_t m_count = 0;
};

} // namespace fuzz
