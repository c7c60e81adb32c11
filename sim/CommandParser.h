#pragma once

#include "sim/Time.h"

#include "driver/protocol.h"

#include <functional>
#include <vector>

namespace sim {

// Finds command packets in what the host sends. Whatever is no intact command of at most 261 bytes
// is dropped without a word, and so is a packet whose bytes stop coming for a tenth of a second.
class CommandParser
{
public:
    using Handler = std::function<void(protocol::Bytes packet)>;

    void feed(protocol::Bytes bytes, Time at, const Handler &handler);
    void reset() { m_packet.clear(); }

private:
    bool accept(unsigned char byte);

    std::vector<unsigned char> m_packet;
    Time m_lastByte{0};
};

} // namespace sim
