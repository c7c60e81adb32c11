#pragma once

#include <cstdint>
#include <optional>

#include "recording/recording.h"
#include "sim/line/simulated_device.h"

namespace sim {

using recording::RecordedEvent;
using recording::Recording;

// Sends the bytes of a recorded device.
//
// Playback begins when a host has the port open at the recorded baud rate. Where the recording
// holds bytes of the host, playback waits until this host has sent as many bytes, but at most
// `hostTimeout`. The content of those bytes is ignored. powerCycle() has no effect.
class Replay : public SimulatedDevice
{
public:
    // Delay between the start of listening and the first bytes. The host uses it to discard old
    // input.
    static constexpr Time kLeadIn = std::chrono::milliseconds(100);
    // Default limit of a wait for bytes of the host.
    static constexpr Time kHostTimeout = std::chrono::seconds(1);

    // Plays `speed` times as fast as recorded, above 0. Without `speed`, each transmission follows
    // as soon as the host has read the previous one; only the time until the cable is plugged in
    // again is as recorded.
    explicit Replay(Recording recording, std::optional<double> speed = 1.0,
                    Time hostTimeout = kHostTimeout);

    void receive(protocol::Bytes bytes, std::uint32_t hostBaud, Time now) override;
    void advance(Time /*now*/) override {}
    std::optional<Transmission> transmit(Time now) override;
    Time nextEvent() const override;
    std::uint32_t lineBaud() const override { return m_baud; }
    void powerCycle(Time /*now*/) override {}

    void setHostAttached(bool attached, Time now) override;
    bool waitsForHost() const override;
    std::optional<CableMove> takeCableMove(Time now) override;

    bool isOver() const { return m_next == m_recording.events.size(); }

private:
    Transmission transmission(const std::vector<unsigned char> &bytes, Time due) const;
    const RecordedEvent &next() const { return m_recording.events[m_next]; }
    Time dueTime() const;
    bool hostHasSent(Time now);
    void resumeAt(Time now);

    const Recording m_recording;
    const std::optional<double> m_speed;
    const Time m_hostTimeout;

    std::size_t m_next = 0;
    std::uint32_t m_baud;
    std::optional<Time> m_attachedSince;
    // The time at which the recording time m_recordedAt is played; kNever before playback begins.
    Time m_playedAt = kNever;
    Time m_recordedAt{0};
    std::size_t m_hostBytes = 0; // received, and not yet matched with recorded host bytes
    std::optional<Time> m_waitsSince;
};

} // namespace sim
