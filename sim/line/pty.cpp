#include "sim/line/pty.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "sim/line/baud_mismatch.h"

namespace sim {

namespace {

// In bytes; more than the kernel buffers for a pty.
constexpr std::size_t kMostUnread = 1 << 20;

} // namespace

Pty::Pty()
    : Pty(openPseudoTerminal())
{
    termios line{};
    ::tcgetattr(m_slave.get(), &line);
    ::cfmakeraw(&line);
    ::cfsetspeed(&line, B9600);
    ::tcsetattr(m_slave.get(), TCSANOW, &line);
}

Pty::Pty(FileDescriptor master)
    : m_master(std::move(master))
    , m_path(pseudoTerminalPath(m_master.get()))
{
    prepare();
}

void Pty::prepare()
{
    ::fcntl(m_master.get(), F_SETFL, ::fcntl(m_master.get(), F_GETFL) | O_NONBLOCK);
    ::fcntl(m_master.get(), F_SETFD, FD_CLOEXEC);
    m_slave = checked(::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "open");
    m_events = checked(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC), "inotify_init1");
    m_ownWatch =
        ::inotify_add_watch(m_events.get(), m_path.c_str(), IN_OPEN | IN_MODIFY | IN_CLOSE);
    if (m_ownWatch < 0)
        throw std::system_error(errno, std::generic_category(), "inotify_add_watch");
    // inotify merges two equal events in a row, so two opens would be reported as one. The watch on
    // the directory adds an event of the directory between any two events of the node.
    const std::string directory = m_path.substr(0, m_path.rfind('/'));
    ::inotify_add_watch(m_events.get(), directory.c_str(), IN_OPEN | IN_CLOSE);
}

std::uint32_t Pty::shownBaud() const
{
    return terminalBaud(m_slave.get()).value_or(0);
}

void Pty::watch()
{
    alignas(inotify_event) std::array<char, 8192> buffer;
    for (;;) {
        const ssize_t size = ::read(m_events.get(), buffer.data(), buffer.size());
        if (size <= 0)
            break;
        for (ssize_t offset = 0; offset < size;) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + offset, sizeof event);
            offset += static_cast<ssize_t>(sizeof event + event.len);
            if (event.wd == m_ownWatch)
                take(event.mask);
        }
    }
}

// A killed host leaves the terminal exclusive: then only root can open it again. A real port is no
// longer exclusive after the last process has closed it.
void Pty::endExclusiveness() const
{
    ::ioctl(m_slave.get(), TIOCNXCL);
}

void Pty::take(std::uint32_t event)
{
    if (event & (IN_OPEN | IN_CLOSE))
        ++m_eventCount;
    if (event & IN_OPEN)
        m_baudTracker.opened();
    if (event & IN_MODIFY)
        m_baudTracker.wrote();
    if ((event & IN_CLOSE) && m_baudTracker.closed()) {
        ++m_endedSessions;
        endExclusiveness();
        dropUnread();
    }
}

// The baud rate of the terminal, consistent with the reported events. It repeats the read if an
// event arrives meanwhile, because the value may then belong to an earlier session.
std::uint32_t Pty::watchedBaud()
{
    for (;;) {
        const std::uint64_t events = m_eventCount;
        const std::uint32_t shown = shownBaud();
        watch();
        if (m_eventCount == events) {
            m_baudTracker.shows(shown);
            return shown;
        }
    }
}

// Drops the bytes in the host's input queue and those that the kernel has not delivered there yet.
void Pty::dropUnread()
{
    const std::size_t dropped = takeWaiting();
    m_unread += dropped - std::min(dropped, std::exchange(m_underWay, 0));
    ::tcflush(m_master.get(), TCOFLUSH);
    ::tcflush(m_slave.get(), TCIFLUSH);
}

Pty::Received Pty::receive()
{
    constexpr std::size_t kEnough =
        65536; // in bytes; a host that writes without pause must not block sending
    Received received;
    const std::uint32_t before = watchedBaud();
    m_baudTracker.beginRead();
    std::array<unsigned char, 4096> buffer;
    // Reads until no data is left: then `received` holds everything written so far.
    for (ssize_t size = 1; size > 0 && received.bytes.size() < kEnough;) {
        size = ::read(m_master.get(), buffer.data(), buffer.size());
        if (size > 0)
            received.bytes.insert(received.bytes.end(), buffer.begin(), buffer.begin() + size);
    }
    const std::uint32_t after = shownBaud();
    watch();
    received.hostBaud = m_baudTracker.endRead(before, after);
    received.mayHaveMore = !received.bytes.empty() || m_baudTracker.awaitsLastBytes();
    return received;
}

bool Pty::write(protocol::Bytes bytes)
{
    const ssize_t size = ::write(m_master.get(), bytes.data(), bytes.size());
    return size == static_cast<ssize_t>(bytes.size());
}

// Waits until written bytes are in the host's input queue. A worker of the kernel moves them there
// asynchronously; polling the slave waits for that worker.
void Pty::settle() const
{
    hasUnread();
}

bool Pty::hasUnread() const
{
    pollfd slave{m_slave.get(), POLLIN, 0};
    return ::poll(&slave, 1, 0) > 0;
}

// Reads and drops all bytes, and returns their number. FIONREAD is not enough: the kernel may hold
// twice the content of the host's queue in transit. A host that has reopened the port may read some
// of it at the same time, so the reads must not block.
std::size_t Pty::takeWaiting() const
{
    std::array<char, 4096> dropped;
    std::size_t total = 0;
    while (total < kMostUnread && hasUnread()) {
        const ssize_t size = ::read(m_slave.get(), dropped.data(), dropped.size());
        if (size <= 0)
            break;
        total += static_cast<std::size_t>(size);
    }
    return total;
}

Pty::Delivery Pty::send(protocol::Bytes bytes, std::uint32_t baud)
{
    const std::uint32_t shown = watchedBaud();
    if (!isOpenedByHost() || bytes.empty())
        return Delivery::NoHost;
    if (shown == baud)
        return sendIntact(bytes, baud);
    write(bytesAtWrongBaud(bytes, baud, shown, m_turn++));
    return Delivery::Corrupted;
}

void Pty::holdHostOutput(bool held) const
{
    ::tcflow(m_slave.get(), held ? TCOOFF : TCOON);
}

// Polling waits for the kernel's worker only while the queue is empty. If the host empties the
// queue right after the poll, the count is 0 although more bytes may be in transit; hence the loop.
std::size_t Pty::unreadByHost() const
{
    while (hasUnread()) {
        int count = 0;
        if (::ioctl(m_slave.get(), FIONREAD, &count) != 0)
            break;
        if (count > 0)
            return static_cast<std::size_t>(count);
    }
    return 0;
}

// A host that changes its baud rate, or closes and reopens the port, drops its input. It must not
// receive an intact packet from before the change. So the last byte is written only after the
// others have arrived and if nothing has changed. The check detects an earlier change; on a later
// change the host drops the other bytes.
Pty::Delivery Pty::sendIntact(protocol::Bytes bytes, std::uint32_t baud)
{
    const std::uint64_t session = m_endedSessions;
    const bool whole = write(bytes.first(bytes.size() - 1));
    m_underWay = bytes.size() - 1;
    settle();
    watch();
    const bool sameBaud = shownBaud() == baud;
    if (!sameBaud || m_endedSessions != session) {
        dropUnread();
        return sameBaud ? Delivery::NoHost : Delivery::Corrupted;
    }
    m_underWay = 0;
    return write(bytes.last(1)) && whole ? Delivery::Arrived : Delivery::Overrun;
}

} // namespace sim
