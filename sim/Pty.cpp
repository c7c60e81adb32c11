#include "sim/Pty.h"

#include "sim/Garbage.h"

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

namespace sim {

namespace {

// More than the kernel holds.
constexpr std::size_t kLongestQueue = 1 << 20;

struct Speed
{
    speed_t constant;
    std::uint32_t baud;
};

constexpr std::array<Speed, 14> kSpeeds{{{B9600, 9600},
                                         {B19200, 19200},
                                         {B38400, 38400},
                                         {B57600, 57600},
                                         {B115200, 115200},
                                         {B230400, 230400},
                                         {B460800, 460800},
                                         {B500000, 500000},
                                         {B576000, 576000},
                                         {B921600, 921600},
                                         {B1000000, 1000000},
                                         {B1152000, 1152000},
                                         {B1500000, 1500000},
                                         {B2000000, 2000000}}};

FileDescriptor checked(int fd, const char *what)
{
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return FileDescriptor(fd);
}

FileDescriptor openMaster()
{
    FileDescriptor master = checked(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt");
    if (::grantpt(master.get()) != 0 || ::unlockpt(master.get()) != 0)
        throw std::system_error(errno, std::generic_category(), "unlockpt");
    return master;
}

// Built from the number, because inside a testbed ptsname() answers with the name of a mocked port.
std::string slavePath(int master)
{
    unsigned int number = 0;
    if (::ioctl(master, TIOCGPTN, &number) != 0)
        throw std::system_error(errno, std::generic_category(), "TIOCGPTN");
    return "/dev/pts/" + std::to_string(number);
}

} // namespace

FileDescriptor::~FileDescriptor()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

Pty::Pty()
    : Pty(openMaster())
{
    termios line{};
    ::tcgetattr(m_slave.get(), &line);
    ::cfmakeraw(&line);
    ::cfsetspeed(&line, B9600);
    ::tcsetattr(m_slave.get(), TCSANOW, &line);
}

Pty::Pty(FileDescriptor master)
    : m_master(std::move(master))
    , m_path(slavePath(m_master.get()))
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
    // Two equal events in a row are reported as one, which would make two opens look like one.
    // Watching the directory as well puts its own event between any two of the node's.
    const std::string directory = m_path.substr(0, m_path.rfind('/'));
    ::inotify_add_watch(m_events.get(), directory.c_str(), IN_OPEN | IN_CLOSE);
}

std::uint32_t Pty::shownBaud() const
{
    termios line{};
    if (::tcgetattr(m_slave.get(), &line) != 0)
        return 0;
    const speed_t constant = ::cfgetospeed(&line);
    for (const Speed &speed : kSpeeds) {
        if (speed.constant == constant)
            return speed.baud;
    }
    return 0;
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

// A host that was killed leaves its terminal exclusive, and would have to be root to open it again.
// A real port is free once its last user is gone.
void Pty::endExclusiveness() const
{
    ::ioctl(m_slave.get(), TIOCNXCL);
}

void Pty::take(std::uint32_t event)
{
    if (event & (IN_OPEN | IN_CLOSE))
        ++m_eventCount;
    if (event & IN_OPEN)
        m_sessions.opened();
    if (event & IN_MODIFY)
        m_sessions.wrote();
    if ((event & IN_CLOSE) && m_sessions.closed()) {
        ++m_endedSessions;
        endExclusiveness();
        dropUnread();
    }
}

// The speed that belongs to the sessions as they are known. One that was read before an event was
// reported may be that of an earlier session.
std::uint32_t Pty::watchedBaud()
{
    for (;;) {
        const std::uint64_t events = m_eventCount;
        const std::uint32_t shown = shownBaud();
        watch();
        if (m_eventCount == events) {
            m_sessions.shows(shown);
            return shown;
        }
    }
}

// Both the bytes already at the host's end and those still on their way there.
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
        65536; // a host that never pauses must not keep the unit from talking
    Received received;
    const std::uint32_t before = watchedBaud();
    m_sessions.beginRead();
    std::array<unsigned char, 4096> buffer;
    // Up to the read that finds nothing, this is all that was written.
    for (ssize_t size = 1; size > 0 && received.bytes.size() < kEnough;) {
        size = ::read(m_master.get(), buffer.data(), buffer.size());
        if (size > 0)
            received.bytes.insert(received.bytes.end(), buffer.begin(), buffer.begin() + size);
    }
    const std::uint32_t after = shownBaud();
    watch();
    received.hostBaud = m_sessions.endRead(before, after);
    received.mayHaveMore = !received.bytes.empty() || m_sessions.awaitsLastBytes();
    return received;
}

bool Pty::write(protocol::Bytes bytes)
{
    const ssize_t size = ::write(m_master.get(), bytes.data(), bytes.size());
    return size == static_cast<ssize_t>(bytes.size());
}

// Written bytes reach the host's queue by a worker of the kernel, at its leisure. Polling the
// host's end waits for that worker.
void Pty::settle() const
{
    hasUnread();
}

bool Pty::hasUnread() const
{
    pollfd slave{m_slave.get(), POLLIN, 0};
    return ::poll(&slave, 1, 0) > 0;
}

// Read, not asked for: behind what the host's queue holds, twice as much may be on its way. A host
// that has opened again may take some of it meanwhile, so reading must not wait.
std::size_t Pty::takeWaiting() const
{
    std::array<char, 4096> dropped;
    std::size_t total = 0;
    while (total < kLongestQueue && hasUnread()) {
        const ssize_t size = ::read(m_slave.get(), dropped.data(), dropped.size());
        if (size <= 0)
            break;
        total += static_cast<std::size_t>(size);
    }
    return total;
}

Pty::Fate Pty::send(protocol::Bytes bytes, std::uint32_t baud)
{
    const std::uint32_t shown = watchedBaud();
    if (!isOpenedByHost() || bytes.empty())
        return Fate::Unheard;
    if (shown == baud)
        return sendIntact(bytes, baud);
    write(garbage(bytes, baud, shown, m_turn++));
    return Fate::Garbled;
}

// Polling waits for the kernel's worker only while the queue is empty. A host that empties it right
// after the poll leaves a count of 0 that says nothing about what is still on its way.
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

// A host that changes its speed, or closes and opens again, drops what it has received and then
// must not find an intact packet of before. So the last byte waits until the others have arrived
// and goes out only if nothing has changed: a change before that look is seen, and one after it
// drops the others.
Pty::Fate Pty::sendIntact(protocol::Bytes bytes, std::uint32_t baud)
{
    const std::uint64_t session = m_endedSessions;
    const bool whole = write(bytes.first(bytes.size() - 1));
    m_underWay = bytes.size() - 1;
    settle();
    watch();
    const bool sameSpeed = shownBaud() == baud;
    if (!sameSpeed || m_endedSessions != session) {
        dropUnread();
        return sameSpeed ? Fate::Unheard : Fate::Garbled;
    }
    m_underWay = 0;
    return write(bytes.last(1)) && whole ? Fate::Arrived : Fate::Overrun;
}

} // namespace sim
