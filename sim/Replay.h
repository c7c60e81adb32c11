#pragma once

#include "sim/Recording.h"
#include "sim/Unit.h"

#include <cstdint>
#include <optional>

namespace sim {

// Says what a recorded unit has said.
//
// The recording begins when a host listens at its speed. Where the recorded host spoke, it waits
// for as many bytes of this host, but not for ever: what they say is not looked at. It knows no
// power switch.
class Replay : public Unit
{
public:
    // How long after the host has begun to listen: time to drop what came before.
    static constexpr Time kLeadIn = std::chrono::milliseconds(100);
    // How long a host that says nothing is waited for, by default.
    static constexpr Time kPatience = std::chrono::seconds(1);

    // `speed` times as fast as recorded, above 0; without, each piece of bytes follows as soon as
    // the host has read the one before, and only the cable keeps its time.
    explicit Replay(Recording recording, std::optional<double> speed = 1.0,
                    Time patience = kPatience);

    void receive(protocol::Bytes bytes, std::uint32_t hostBaud, Time now) override;
    void advance(Time /*now*/) override {}
    std::optional<Transmission> transmit(Time now) override;
    Time nextEvent() const override;
    std::uint32_t lineBaud() const override { return m_baud; }
    void powerCycle(Time /*now*/) override {}

    void hostListens(bool listens, Time now) override;
    bool waitsForHost() const override;
    std::optional<CableMove> takeCableMove(Time now) override;

    bool isOver() const { return m_next == m_recording.events.size(); }

private:
    Transmission transmission(const std::vector<unsigned char> &bytes, Time due) const;
    const RecordedEvent &next() const { return m_recording.events[m_next]; }
    Time dueTime() const;
    bool hostHasSpoken(Time now);
    void resumeAt(Time now);

    const Recording m_recording;
    const std::optional<double> m_speed;
    const Time m_patience;

    std::size_t m_next = 0;
    std::uint32_t m_baud;
    std::optional<Time> m_listensSince;
    // When the moment m_recordedAt of the recording was, or will be; never before the beginning.
    Time m_playedAt = kNever;
    Time m_recordedAt{0};
    std::size_t m_hostBytes = 0; // of the host, and not accounted for
    std::optional<Time> m_waitsSince;
};

} // namespace sim
