#pragma once

#include <iosfwd>
#include <optional>

#include "protocol/protocol.h"
#include "recording/recording.h"
#include "sim/line/line_observer.h"

namespace sim {

using recording::RecordedEvent;
using recording::RecordingHeader;

// Writes a recording of a running line. It begins when a host has the port open at the baud
// rate of the device for the first time. From then
// on it holds all bytes, whether or not a host receives them. Every line is flushed, so that after
// a crash the file holds everything up to that point.
//
// One thread at a time. The stream is borrowed; its owner checks it for errors.
class Recorder final : public LineObserver
{
public:
    Recorder(std::ostream &out, const RecordingHeader &header);

    void hostAttached(Time now) override;
    void sent(const Transmission &transmission, bool delivered) override;
    void received(protocol::Bytes bytes, Time now) override;
    void unplugged(Time now) override;
    void pluggedIn(Time now) override;

private:
    void write(RecordedEvent event, Time at);

    std::ostream &m_out;
    std::uint32_t m_baud;
    std::optional<Time> m_beginning;
    std::chrono::microseconds m_last{0};
};

} // namespace sim
