#include "sim/recording/recorder.h"

#include <algorithm>
#include <ostream>

namespace sim {

using Kind = RecordedEvent::Kind;

Recorder::Recorder(std::ostream &out, const RecordingHeader &header)
    : m_out(out)
    , m_baud(header.baud)
{
    writeHeader(m_out, header);
    m_out.flush();
}

void Recorder::hostAttached(Time now)
{
    if (!m_beginning)
        m_beginning = now;
}

void Recorder::sent(const Transmission &transmission, bool delivered)
{
    if (!m_beginning || transmission.bytes.empty())
        return;
    if (transmission.baud != m_baud) {
        m_baud = transmission.baud;
        write({.kind = Kind::Baud, .baud = m_baud}, transmission.done);
    }
    write({.kind = delivered ? Kind::Delivered : Kind::Undelivered, .bytes = transmission.bytes},
          transmission.done);
}

void Recorder::received(protocol::Bytes bytes, Time now)
{
    write({.kind = Kind::FromHost, .bytes = {bytes.begin(), bytes.end()}}, now);
}

void Recorder::unplugged(Time now)
{
    write({.kind = Kind::Unplug}, now);
}

void Recorder::pluggedIn(Time now)
{
    write({.kind = Kind::PlugIn}, now);
}

// Sent bytes carry the time at which their transmission ends, other events the time at which they
// are detected. These times may be out of order, so an event is never earlier than the one before.
void Recorder::write(RecordedEvent event, Time at)
{
    if (!m_beginning)
        return;
    const auto since = std::chrono::floor<std::chrono::microseconds>(at - *m_beginning);
    m_last = std::max(m_last, since);
    event.at = m_last;
    writeEvent(m_out, event);
    m_out.flush();
}

} // namespace sim
