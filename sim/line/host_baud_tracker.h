#pragma once

#include <cstdint>
#include <optional>

namespace sim {

// Infers the baud rate at which the host wrote the bytes of a read.
//
// A pty does not store the baud rate at which bytes were written. A real port drains before it
// closes: a host can write, close and reopen at another baud rate, and the device receives the
// bytes. On a pty those bytes may be read when the terminal already shows the new baud rate. The
// kernel reports opening, writing and closing in order, and a read returns everything written
// before. So the first read after a close returns bytes of the session that has ended.
//
// Pure: the caller passes in all events and baud rates.
class HostBaudTracker
{
public:
    void opened();
    void wrote() { m_wrote = true; }
    // Returns true if the port is no longer open in any process.
    bool closed();

    bool isOpen() const { return m_openCount > 0; }
    // The baud rate last passed to shows() in the current session; none before the first call.
    std::optional<std::uint32_t> shown() const { return m_shown; }

    // Reports the baud rate of the terminal after all events so far.
    void shows(std::uint32_t baud);

    void beginRead();
    // The baud rate of the bytes that a read has returned. Call it after reporting all events up to
    // the end of the read. `before` and `after` are the baud rates of the terminal before and after
    // the read. No value: unknown, to be treated as the baud rate of the device.
    std::optional<std::uint32_t> endRead(std::uint32_t before, std::uint32_t after);
    // True if a session has ended and its last bytes may still be unread.
    bool awaitsLastBytes() const { return m_ended.has_value(); }

private:
    struct Ended
    {
        std::optional<std::uint32_t> baud;
        bool beforeRead = false; // the current read returns its last bytes
    };

    int m_openCount = 0;
    bool m_wrote = false; // in the current session, since the last read
    std::optional<std::uint32_t> m_shownFirst;
    std::optional<std::uint32_t> m_shown;
    std::optional<std::uint32_t> m_baud; // of the current session; empty until proven by a change
    std::optional<Ended> m_ended;
};

} // namespace sim
