#pragma once

#include "sim/Time.h"

#include <cstdint>
#include <optional>

namespace sim {

// At what speed did the host send the bytes that have just been read?
//
// A pty hands over bytes without a word about the speed its user had set when writing them. A real
// port drains before it closes, so a host may write, close and open again at another speed, and
// still be heard; here the bytes arrive when the terminal already shows the new speed. Opening,
// writing and closing are reported in their order, and that is enough to tell: bytes written
// shortly before a close belong to the session that has ended, not to the one that shows its speed.
//
// Pure: events and time are passed in.
class HostSessions
{
public:
    void opened(Time at);
    void wrote(Time at);
    // True if that was the last one who had the port open.
    bool closed(Time at);

    bool isOpen() const { return m_openCount > 0; }

    // The terminal showed this speed at `at`, and no event is older than that and still unreported.
    void observedSpeed(std::uint32_t baud, Time at);

    // The speed of bytes read at `at` while the terminal shows `shown`, all events up to the read
    // reported. No value: unknown, so the benefit of the doubt is due.
    std::optional<std::uint32_t> speedOfRead(std::uint32_t shown, Time at);

private:
    struct Ended
    {
        std::optional<std::uint32_t> baud;
        Time forgetAt;
    };

    int m_openCount = 0;
    Time m_openedAt{0};
    std::optional<std::uint32_t> m_settledBaud; // seen well after opening, so meant for the session
    std::optional<Time> m_unreadSince;          // something was written and not yet read
    std::optional<Ended> m_ended;
};

} // namespace sim
