#include "sim/HostSessions.h"

namespace sim {

namespace {

// Right after opening, the terminal still shows the speed of its last user.
constexpr Time kSettling = std::chrono::milliseconds(50);
// How long bytes may be on their way through the pty, generously.
constexpr Time kTransit = std::chrono::milliseconds(50);

} // namespace

void HostSessions::opened(Time at)
{
    if (m_openCount++ == 0) {
        m_openedAt = at;
        m_settledBaud.reset();
    }
}

void HostSessions::wrote(Time at)
{
    m_unreadSince = at;
}

bool HostSessions::closed(Time at)
{
    if (m_openCount > 0)
        --m_openCount;
    if (m_openCount > 0)
        return false;
    if (m_unreadSince && at - *m_unreadSince < kTransit)
        m_ended = {m_settledBaud, at + kTransit};
    m_unreadSince.reset();
    return true;
}

void HostSessions::observedSpeed(std::uint32_t baud, Time at)
{
    if (isOpen() && at - m_openedAt >= kSettling)
        m_settledBaud = baud;
}

std::optional<std::uint32_t> HostSessions::speedOfRead(std::uint32_t shown, Time at)
{
    if (m_ended && at <= m_ended->forgetAt) {
        const std::optional<std::uint32_t> baud = m_ended->baud;
        m_ended.reset();
        return baud;
    }
    m_ended.reset();
    m_unreadSince.reset();
    return shown;
}

} // namespace sim
