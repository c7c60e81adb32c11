#pragma once

#include "sim/HostSessions.h"

#include "driver/protocol.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sim {

// A file descriptor and the duty to close it.
class FileDescriptor
{
public:
    explicit FileDescriptor(int fd = -1)
        : m_fd(fd)
    {
    }
    FileDescriptor(FileDescriptor &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~FileDescriptor();

    int get() const { return m_fd; }

private:
    int m_fd;
};

// The device's end of a pseudo-terminal, made to behave like one end of a serial line.
//
// Unread bytes do not outlive a host's session, nothing blocks, and the speed the host has set is
// known. Destroying it hangs the line up for whoever has it open. One thread at a time. Errors of
// opening are std::system_error.
class Pty
{
public:
    // What the host sent, and at what speed; no speed: unknown, to be taken as the right one.
    struct Received
    {
        std::vector<unsigned char> bytes;
        std::optional<std::uint32_t> hostBaud;
        bool mayHaveMore = false; // worth another look at once
    };
    enum class Fate {
        Arrived, // in the host's input queue, sent at the speed the host listens at
        Unheard, // nobody has the port open
        Garbled, // the host listens at another speed, or changed it meanwhile
        Overrun, // the host does not read: some or all bytes did not fit
    };

    // A new pty, raw, at 9600 baud like a port nobody has used yet.
    Pty();
    // The pty of this master, whose ownership is taken.
    explicit Pty(FileDescriptor master);

    // Where the host opens it.
    const std::string &path() const { return m_path; }
    // Readable when there is something to receive() or to watch().
    int masterFd() const { return m_master.get(); }
    int eventsFd() const { return m_events.get(); }

    // Looks who opened and closed; drops what an ended session has not read.
    void watch();
    bool isOpenedByHost() const { return m_sessions.isOpen(); }
    // What the terminal showed when last looked at in the current session; none before that.
    std::optional<std::uint32_t> seenBaud() const { return m_sessions.shown(); }
    // The speed the terminal shows now, 0 for none the unit could have.
    std::uint32_t shownBaud() const;

    // Bytes sent here wait for the host to read them.
    bool hasUnread() const;

    Received receive();
    // Bytes that had arrived, and that a session that has ended left unread, since the last call.
    std::size_t takeUnread() { return std::exchange(m_unread, 0); }
    Fate send(protocol::Bytes bytes, std::uint32_t baud);
    // Bytes in the host's input queue.
    std::size_t unreadByHost() const;

private:
    void prepare();
    void take(std::uint32_t event);
    std::uint32_t watchedBaud();
    void dropUnread();
    void endExclusiveness() const;
    bool write(protocol::Bytes bytes);
    void settle() const;
    std::size_t takeWaiting() const;
    Fate sendIntact(protocol::Bytes bytes, std::uint32_t baud);

    FileDescriptor m_master;
    // Held for flushing what the host has not read, which the master's end cannot do. It also
    // keeps the master readable while no host has the port open.
    FileDescriptor m_slave;
    FileDescriptor m_events;
    int m_ownWatch = -1;
    std::string m_path;
    HostSessions m_sessions;
    std::uint64_t m_eventCount = 0;
    std::uint64_t m_endedSessions = 0;
    std::size_t m_unread = 0;
    std::size_t m_underWay = 0; // written of a transmission whose fate is open
    std::uint64_t m_turn = 0;   // makes every piece of garbage another
};

} // namespace sim
