#pragma once

// The wire format shared by host and device: framing constants, block codes, outputs bits.
//
// Packet: "S", type, u16 length of the whole packet, payload, u16 checksum.
// All multi-byte fields are little-endian; floats are IEEE-754 single precision.
// Pure: any thread, no lock.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace protocol {

static_assert(std::endian::native == std::endian::little,
              "fields are copied as they stand; a big-endian host needs byte swaps here");

using Bytes = std::span<const unsigned char>;

inline constexpr unsigned char kSync = 'S';
inline constexpr unsigned char kCommandType = 'C'; // host to device
inline constexpr unsigned char kDataType = 'D';    // device to host, streamed samples
inline constexpr unsigned char kReplyType = 'G';   // device to host, answers to commands

inline constexpr std::size_t kHeaderSize = 4;
inline constexpr std::size_t kChecksumSize = 2;
inline constexpr std::size_t kFrameSize = kHeaderSize + kChecksumSize;
inline constexpr std::size_t kMaxPacketSize = 4096;
inline constexpr std::size_t kMaxCommandPayload = 255;
inline constexpr std::size_t kMaxCommandPacket = kMaxCommandPayload + kFrameSize;

// One numbering serves commands, replies and data; the comment is what follows the code.
enum BlockCode : unsigned char {
    RATES = 0,                  // data: 3 floats
    ACCELERATIONS = 1,          // data: 3 floats
    QUATERNION = 2,             // data: 4 floats (x, y, z, w), scalar last
    ALTITUDE = 3,               // data: 1 float
    COVARIANCES = 4,            // data: 3 floats
    EULER = 5,                  // data: 3 floats, roll pitch yaw
    MAGNETIC_FIELD = 6,         // data: 3 floats, calibrated
    BAUD_RATE = 7,              // reply: u32; parameter of SET and GET
    DATA_RATE = 8,              // reply: u16; parameter of SET and GET
    OUTPUTS = 9,                // reply: u16 mask; parameter of SET and GET
    FACTORY_RESET = 10,         // command: u16 outputs; reply: status byte, 1 = done
    SAVE_SETTINGS = 11,         // command: u16 outputs; reply: status byte, 1 = done
    GET = 12,                   // command: the parameters to read
    SET = 13,                   // command: one parameter and its value
    MAGNETIC_FIELD_RAW = 14,    // data: 3 floats, uncalibrated
    MAG_CALIBRATION = 15,       // reply: bias 3 floats, matrix 9 floats; parameter of SET
    VERSIONS = 16,              // reply: firmware u16, hardware u16; parameter of GET
    SERIAL_NUMBER = 17,         // reply: u32; parameter of GET
    START_CALIBRATION = 18,     // command; reply: status byte, 1 = done
    STOP_CALIBRATION = 19,      // command; reply: status byte, 1 = done
    CALIBRATION_DATA = 20,      // command: two u32; reply: groups of 3 floats to the end
    CALIBRATION_DATA_SIZE = 21, // command; reply: u32
    RESERVED_22 = 22,           // data: 36 bytes that the host skips
    ZERO_THRESHOLD = 23,        // reply: 1 float; parameter of SET
};
inline constexpr int kBlockCodeCount = 24;

// The outputs mask: each set bit asks the device to stream one block.
inline constexpr std::uint16_t OUT_RATES = 0x0001;
inline constexpr std::uint16_t OUT_ACCELERATIONS = 0x0002;
inline constexpr std::uint16_t OUT_QUATERNION = 0x0004;
inline constexpr std::uint16_t OUT_ALTITUDE = 0x0008;
inline constexpr std::uint16_t OUT_COVARIANCES = 0x0010;
inline constexpr std::uint16_t OUT_EULER = 0x0020;
inline constexpr std::uint16_t OUT_MAGNETIC_FIELD = 0x0040;
inline constexpr std::uint16_t OUT_SYNC = 0x0080;
inline constexpr std::uint16_t OUT_MAGNETIC_FIELD_RAW = 0x0100;
inline constexpr std::uint16_t OUT_RESERVED_9 = 0x0200;

// Reads one field at p. Uses memcpy because fields are not aligned.
template <typename T>
T readField(const unsigned char *p)
{
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

template <typename T>
void writeField(unsigned char *p, T value)
{
    std::memcpy(p, &value, sizeof value);
}

// Checksum: the sum of the payload bytes modulo 2^16.
inline std::uint16_t checksum(Bytes payload)
{
    // 16 bits throughout, because twice as many values fit into a vector register.
    std::uint16_t sum = 0;
    for (const unsigned char byte : payload)
        sum = static_cast<std::uint16_t>(sum + byte);
    return sum;
}

// Writes the packet of the given type around the payload into out and returns its length.
// out holds at least payload.size() + kFrameSize bytes.
std::size_t preparePacket(unsigned char type, Bytes payload, unsigned char *out);

// Whether the first `length` bytes at `packet` hold a packet whose own length field fits into
// them and whose checksum is right.
bool isIntact(const unsigned char *packet, int length);

} // namespace protocol
