#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "protocol/protocol.h"
#include "sim/line/host_baud_tracker.h"
#include "sim/line/pseudo_terminal.h"

namespace sim {

// The device end (master) of a pseudo-terminal that behaves like one end of a serial line.
//
// Bytes that a host session leaves unread are dropped, no operation blocks, and the baud rate set
// by the host is available. The destructor hangs up the line for every process that has it open.
// One thread at a time. Throws std::system_error if opening fails.
class Pty
{
public:
    // Bytes of the host and their baud rate. No baud rate: unknown, to be treated as that of the
    // device.
    struct Received
    {
        std::vector<unsigned char> bytes;
        std::optional<std::uint32_t> hostBaud;
        bool mayHaveMore = false; // call receive() again at once
    };
    enum class Delivery {
        Arrived,   // in the host's input queue, sent at the baud rate of the host
        NoHost,    // no host has the port open
        Corrupted, // the host uses another baud rate, or changed it during the transmission
        Overrun,   // the host does not read: some or all bytes did not fit
    };

    // Makes a pty in raw mode at 9600 baud, like an unused serial port.
    Pty();
    // Takes ownership of this master.
    explicit Pty(FileDescriptor master);

    // The path that the host opens.
    const std::string &path() const { return m_path; }
    // Readable when there is something to receive() or to watch().
    int masterFd() const { return m_master.get(); }
    int eventsFd() const { return m_events.get(); }

    // Processes reported opens, writes and closes. Drops the unread bytes of an ended session.
    void watch();
    bool isOpenedByHost() const { return m_baudTracker.isOpen(); }
    // The baud rate at the last check in the current session; none before the first check.
    std::optional<std::uint32_t> seenBaud() const { return m_baudTracker.shown(); }
    // The current baud rate of the terminal; 0 for one that is not in the list of known rates.
    std::uint32_t shownBaud() const;

    // True if the host has not read all bytes sent.
    bool hasUnread() const;

    Received receive();
    // Number of arrived bytes that ended sessions left unread, since the last call.
    std::size_t takeUnread() { return std::exchange(m_unread, 0); }
    Delivery send(protocol::Bytes bytes, std::uint32_t baud);
    // Number of sessions of hosts that have ended.
    std::uint64_t endedSessions() const { return m_endedSessions; }
    // While held, the port takes no bytes from the host: a write blocks or fails with EAGAIN.
    void holdHostOutput(bool held) const;
    // Number of bytes in the host's input queue.
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
    Delivery sendIntact(protocol::Bytes bytes, std::uint32_t baud);

    FileDescriptor m_master;
    // Needed to flush the bytes that the host has not read, which is impossible through the master.
    // It also keeps reads from the master from failing while no host has the port open.
    FileDescriptor m_slave;
    FileDescriptor m_events;
    int m_ownWatch = -1;
    std::string m_path;
    HostBaudTracker m_baudTracker;
    std::uint64_t m_eventCount = 0;
    std::uint64_t m_endedSessions = 0;
    std::size_t m_unread = 0;
    std::size_t m_underWay = 0; // bytes written of a transmission that is not complete
    std::uint64_t m_turn = 0;   // argument of bytesAtWrongBaud(), so that no two results are equal
};

} // namespace sim
