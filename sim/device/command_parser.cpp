#include "sim/device/command_parser.h"

using namespace protocol;

namespace sim {

namespace {

constexpr Time kCommandTimeout = std::chrono::milliseconds(100);

std::size_t statedLength(const std::vector<unsigned char> &packet)
{
    return readField<std::uint16_t>(packet.data() + 2);
}

bool plausibleStart(const std::vector<unsigned char> &packet)
{
    if (packet[0] != kSync)
        return false;
    if (packet.size() >= 2 && packet[1] != kCommandType)
        return false;
    return packet.size() < kHeaderSize ||
           (statedLength(packet) >= kFrameSize && statedLength(packet) <= kMaxCommandPacket);
}

} // namespace

// True when the byte completes a packet.
bool CommandParser::accept(unsigned char byte)
{
    m_packet.push_back(byte);
    if (!plausibleStart(m_packet)) {
        m_packet.clear();
        // The byte that invalidated one packet may be the start of the next.
        if (byte == kSync)
            m_packet.push_back(byte);
        return false;
    }
    return m_packet.size() >= kHeaderSize && m_packet.size() == statedLength(m_packet);
}

void CommandParser::feed(Bytes bytes, Time at, const Handler &handler)
{
    if (at - m_lastByte > kCommandTimeout)
        reset();
    m_lastByte = at;
    for (const unsigned char byte : bytes) {
        if (!accept(byte))
            continue;
        const std::vector<unsigned char> packet = std::move(m_packet);
        m_packet.clear();
        if (isIntact(packet.data(), static_cast<int>(packet.size())))
            handler(packet);
    }
}

} // namespace sim
