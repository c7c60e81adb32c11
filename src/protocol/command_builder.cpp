#include "protocol/command_builder.h"

#include <algorithm>

using namespace protocol;

namespace {
// SET, parameter and a value of always four bytes; the device may read fewer of them.
constexpr std::size_t kSetSize = 6;
} // namespace

template <typename T>
void CommandBuilder::put(std::size_t offset, T value)
{
    writeField(m_payload.data() + offset, value);
}

CommandBuilder::Packet CommandBuilder::packed(std::size_t size) const
{
    return prepareProtocolPacket(m_payload.data(), static_cast<std::uint8_t>(size));
}

CommandBuilder::Packet CommandBuilder::prepareProtocolPacket(const unsigned char *payload,
                                                             std::uint8_t size)
{
    Packet packet(size + kFrameSize);
    preparePacket(kCommandType, {payload, size}, packet.data());
    return packet;
}

CommandBuilder::Packet CommandBuilder::setDataRate(std::uint16_t rateHz)
{
    put(0, SET);
    put(1, DATA_RATE);
    put(2, rateHz);
    return packed(kSetSize);
}

CommandBuilder::Packet CommandBuilder::setOutputs(std::uint16_t mask)
{
    put(0, SET);
    put(1, OUTPUTS);
    put(2, mask);
    return packed(kSetSize);
}

CommandBuilder::Packet CommandBuilder::setBaudRate(std::uint32_t baud)
{
    put(0, SET);
    put(1, BAUD_RATE);
    put(2, baud);
    return packed(kSetSize);
}

CommandBuilder::Packet CommandBuilder::setZeroThreshold(float threshold)
{
    put(0, SET);
    put(1, ZERO_THRESHOLD);
    put(2, threshold);
    return packed(kSetSize);
}

CommandBuilder::Packet CommandBuilder::setMagneticCalibration(const float *bias,
                                                              const float *matrix)
{
    put(0, SET);
    put(1, MAG_CALIBRATION);
    std::memcpy(m_payload.data() + 2, bias, 3 * sizeof(float));
    std::memcpy(m_payload.data() + 14, matrix, 9 * sizeof(float));
    return packed(50);
}

CommandBuilder::Packet CommandBuilder::getSettings()
{
    constexpr std::array<unsigned char, 6> kQuery{GET,     BAUD_RATE, DATA_RATE,
                                                  OUTPUTS, VERSIONS,  SERIAL_NUMBER};
    std::copy(kQuery.begin(), kQuery.end(), m_payload.begin());
    return packed(kQuery.size());
}

CommandBuilder::Packet CommandBuilder::saveSettings(std::uint16_t currentOutputs)
{
    put(0, SAVE_SETTINGS);
    put(1, currentOutputs);
    return packed(3);
}

CommandBuilder::Packet CommandBuilder::revertToFactorySettings(std::uint16_t currentOutputs)
{
    put(0, FACTORY_RESET);
    put(1, currentOutputs);
    return packed(3);
}

CommandBuilder::Packet CommandBuilder::single(BlockCode code)
{
    put(0, code);
    return packed(1);
}

CommandBuilder::Packet CommandBuilder::getCalibrationData(std::uint32_t first, std::uint32_t second)
{
    put(0, CALIBRATION_DATA);
    put(1, first);
    put(5, second);
    return packed(9);
}
