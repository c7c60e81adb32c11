#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "protocol/protocol.h"

// Builds the command packets the host sends. Pure, but stateful: the two 16-bit set commands send
// a fixed six-byte payload whose last two bytes are what the previous command left in the payload
// buffer (zeros at first). Not thread-safe; the driver guards it with its lock.
class CommandBuilder
{
public:
    using Packet = std::vector<unsigned char>;

    Packet setDataRate(std::uint16_t rateHz);
    Packet setOutputs(std::uint16_t mask);
    Packet setBaudRate(std::uint32_t baud);
    Packet setZeroThreshold(float threshold);
    // bias: 3 floats; matrix: 9 floats, sent in the order given.
    Packet setMagneticCalibration(const float *bias, const float *matrix);
    Packet getSettings();
    Packet saveSettings(std::uint16_t currentOutputs);
    Packet revertToFactorySettings(std::uint16_t currentOutputs);
    // A command without parameters, such as START_CALIBRATION.
    Packet single(protocol::BlockCode code);
    Packet getCalibrationData(std::uint32_t first, std::uint32_t second);

    // The packet of type "C" around the first `size` bytes of `payload`.
    static Packet prepareProtocolPacket(const unsigned char *payload, std::uint8_t size);

private:
    template <typename T>
    void put(std::size_t offset, T value);
    Packet packed(std::size_t size) const;

    std::array<unsigned char, protocol::kMaxPacketSize> m_payload{};
};
