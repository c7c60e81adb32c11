#pragma once

#include <cstdint>
#include <optional>

namespace sim {

// At what speed did the host send the bytes that have just been read?
//
// A pty hands over bytes without a word about the speed its user had set when writing them. A real
// port drains before it closes, so a host may write, close and open again at another speed, and
// still be heard; here the bytes may be read when the terminal already shows the new speed. But
// opening, writing and closing are reported, in order, and a read returns all that was written
// before: whatever the first read after a close returns was sent in the session that has ended.
//
// Pure: everything is told to it.
class HostSessions
{
public:
    void opened();
    void wrote() { m_wrote = true; }
    // True if that was the last one who had the port open.
    bool closed();

    bool isOpen() const { return m_openCount > 0; }
    // What the terminal showed last in the current session; none before the first look.
    std::optional<std::uint32_t> shown() const { return m_shown; }

    // What the terminal showed after all the events so far.
    void shows(std::uint32_t baud);

    void beginRead();
    // The speed of what a read has returned, all events up to its end told, the terminal having
    // shown these speeds before and after it. No value: unknown, so the benefit of the doubt is
    // due.
    std::optional<std::uint32_t> endRead(std::uint32_t before, std::uint32_t after);
    // A session has ended whose last bytes may not have been read.
    bool awaitsLastBytes() const { return m_ended.has_value(); }

private:
    struct Ended
    {
        std::optional<std::uint32_t> baud;
        bool beforeRead = false; // the read that has begun returns the last of it
    };

    int m_openCount = 0;
    bool m_wrote = false; // in the current session, since the last read
    std::optional<std::uint32_t> m_shownFirst;
    std::optional<std::uint32_t> m_shown;
    std::optional<std::uint32_t> m_baud; // of the current session, once it is certain
    std::optional<Ended> m_ended;
};

} // namespace sim
