#include "sim/recording/replay.h"

#include <algorithm>
#include <utility>

namespace sim {

using Kind = RecordedEvent::Kind;

Replay::Replay(Recording recording, std::optional<double> speed, Time hostTimeout)
    : m_recording(std::move(recording))
    , m_speed(speed)
    , m_hostTimeout(hostTimeout)
    , m_baud(m_recording.header.baud)
{
}

void Replay::setHostAttached(bool attached, Time now)
{
    if (!attached) {
        m_attachedSince.reset();
        return;
    }
    if (!m_attachedSince)
        m_attachedSince = now;
    if (m_playedAt == kNever)
        m_playedAt = now + kLeadIn;
}

void Replay::receive(protocol::Bytes bytes, std::uint32_t /*hostBaud*/, Time now)
{
    m_hostBytes += bytes.size();
    if (m_waitsSince && hostHasSent(now))
        ++m_next;
}

// --- Time --------------------------------------------------------------------------------------

Time Replay::dueTime() const
{
    if (m_playedAt == kNever)
        return kNever;
    if (m_speed || next().kind == Kind::PlugIn) {
        const double after = static_cast<double>((Time(next().at) - m_recordedAt).count());
        return m_playedAt + Time(static_cast<Time::rep>(after / m_speed.value_or(1.0)));
    }
    if (next().kind != Kind::Delivered)
        return m_playedAt;
    return m_attachedSince ? std::max(m_playedAt, *m_attachedSince + kLeadIn) : kNever;
}

Time Replay::nextEvent() const
{
    if (isOver())
        return kNever;
    return m_waitsSince ? *m_waitsSince + m_hostTimeout : dueTime();
}

// Schedules the next event for `now`. Later events keep their distance from it.
void Replay::resumeAt(Time now)
{
    m_recordedAt = next().at;
    m_playedAt = now;
}

// --- Events ------------------------------------------------------------------------------------

Transmission Replay::transmission(const std::vector<unsigned char> &bytes, Time due) const
{
    const bool isSample = bytes.size() > 1 && bytes[1] == protocol::kDataType;
    return {bytes, m_baud, 1, isSample ? 1U : 0U, due};
}

std::optional<Transmission> Replay::transmit(Time now)
{
    while (!isOver() && dueTime() <= now) {
        const Time due = dueTime();
        switch (next().kind) {
        case Kind::Delivered:
        case Kind::Undelivered:
            return transmission(m_recording.events[m_next++].bytes, due);
        case Kind::Baud:
            m_baud = next().baud;
            break;
        case Kind::FromHost:
            if (!hostHasSent(now))
                return std::nullopt;
            break;
        case Kind::Unplug:
        case Kind::PlugIn:
            return std::nullopt;
        }
        ++m_next;
    }
    return std::nullopt;
}

bool Replay::hostHasSent(Time now)
{
    const std::size_t expected = next().bytes.size();
    const bool patient = !m_waitsSince || now < *m_waitsSince + m_hostTimeout;
    if (m_hostBytes < expected && patient) {
        if (!m_waitsSince)
            m_waitsSince = now;
        return false;
    }
    m_hostBytes -= std::min(m_hostBytes, expected);
    if (m_waitsSince)
        resumeAt(now);
    m_waitsSince.reset();
    return true;
}

bool Replay::waitsForHost() const
{
    return !m_speed && !isOver() && (next().kind == Kind::Delivered || next().kind == Kind::Unplug);
}

std::optional<SimulatedDevice::CableMove> Replay::takeCableMove(Time now)
{
    if (isOver() || dueTime() > now)
        return std::nullopt;
    const Kind kind = next().kind;
    if (kind != Kind::Unplug && kind != Kind::PlugIn)
        return std::nullopt;
    resumeAt(now);
    ++m_next;
    return kind == Kind::Unplug ? CableMove::PullOut : CableMove::PutBack;
}

} // namespace sim
