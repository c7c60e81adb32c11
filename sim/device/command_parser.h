#pragma once

#include <functional>
#include <vector>

#include "protocol/protocol.h"
#include "sim/line/simulated_time.h"

namespace sim {

// Finds command packets in the bytes of the host. Drops everything except intact commands of at
// most 261 bytes, without an error report. Also drops an incomplete packet after a gap of more than
// 100 ms between two of its bytes.
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
