#include "sim/line/host_baud_tracker.h"

namespace sim {

void HostBaudTracker::opened()
{
    if (m_openCount++ > 0)
        return;
    m_wrote = false;
    m_shownFirst.reset();
    m_shown.reset();
    m_baud.reset();
}

bool HostBaudTracker::closed()
{
    if (m_openCount > 0)
        --m_openCount;
    if (m_openCount > 0)
        return false;
    // All bytes written so far belong to the session that has ended.
    m_wrote = false;
    m_shown.reset();
    // If the last bytes of two sessions are unread, their baud rates cannot be assigned.
    m_ended = m_ended ? Ended{} : Ended{m_baud};
    return true;
}

// A newly opened port still shows the baud rate of the previous session, and no event reports when
// the new session sets it. So only a change proves that the new session has set the baud rate.
void HostBaudTracker::shows(std::uint32_t baud)
{
    if (!isOpen())
        return;
    m_shown = baud;
    if (!m_shownFirst)
        m_shownFirst = baud;
    else if (baud != *m_shownFirst || m_baud)
        m_baud = baud;
}

void HostBaudTracker::beginRead()
{
    if (m_ended)
        m_ended->beforeRead = true;
}

std::optional<std::uint32_t> HostBaudTracker::endRead(std::uint32_t before, std::uint32_t after)
{
    std::optional<std::uint32_t> baud;
    if (!m_ended) {
        if (before == after)
            baud = after;
    } else {
        if (!m_wrote)
            baud = m_ended->baud;
        if (m_ended->beforeRead)
            m_ended.reset();
    }
    m_wrote = false;
    return baud;
}

} // namespace sim
