#pragma once

#include "sim/Recording.h"
#include "sim/Time.h"
#include "sim/Transmitter.h"

#include "driver/protocol.h"

#include <iosfwd>
#include <optional>

namespace sim {

// Writes a recording of a running line. It begins when a host listens for the first time. From then
// on it holds all bytes, whether or not a host receives them. Every line is flushed, so that after
// a crash the file holds everything up to that point.
//
// One thread at a time. The stream is borrowed; its owner checks it for errors.
class Recorder
{
public:
    Recorder(std::ostream &out, const RecordingHeader &header);

    void hostListens(Time now);
    void sent(const Transmission &transmission, bool heard);
    void received(protocol::Bytes bytes, Time now);
    void unplugged(Time now);
    void pluggedIn(Time now);

private:
    void write(RecordedEvent event, Time at);

    std::ostream &m_out;
    std::uint32_t m_baud;
    std::optional<Time> m_beginning;
    std::chrono::microseconds m_last{0};
};

} // namespace sim
