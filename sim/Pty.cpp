#include "sim/Pty.h"

#include "sim/Garbage.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace sim {

namespace {

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
    m_slave = checked(::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), "open");
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

void Pty::watch(Time now)
{
    const std::uint32_t shown = shownBaud();
    bool undisturbed = true;
    alignas(inotify_event) std::array<char, 8192> buffer;
    for (;;) {
        const ssize_t size = ::read(m_events.get(), buffer.data(), buffer.size());
        if (size <= 0)
            break;
        for (ssize_t offset = 0; offset < size;) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + offset, sizeof event);
            offset += static_cast<ssize_t>(sizeof event + event.len);
            if (event.wd != m_ownWatch)
                continue;
            undisturbed = undisturbed && (event.mask & (IN_OPEN | IN_CLOSE)) == 0;
            if (event.mask & IN_OPEN)
                m_sessions.opened(now);
            if (event.mask & IN_MODIFY)
                m_sessions.wrote(now);
            if ((event.mask & IN_CLOSE) && m_sessions.closed(now)) {
                ++m_ended;
                dropUnread();
            }
        }
    }
    if (undisturbed)
        m_sessions.observedSpeed(shown, now);
}

// Both the bytes already at the host's end and those still on their way there.
void Pty::dropUnread()
{
    ::tcflush(m_master.get(), TCOFLUSH);
    ::tcflush(m_slave.get(), TCIFLUSH);
}

std::optional<Pty::Received> Pty::receive(Time now)
{
    std::array<unsigned char, 4096> buffer;
    // In this order: if the speed is that of a later session than the bytes, then the end of the
    // earlier one has been reported before watch() looks.
    const std::uint32_t shown = shownBaud();
    const ssize_t size = ::read(m_master.get(), buffer.data(), buffer.size());
    if (size <= 0)
        return std::nullopt;
    watch(now);
    return Received{{buffer.begin(), buffer.begin() + size}, m_sessions.speedOfRead(shown, now)};
}

bool Pty::writeAll(protocol::Bytes bytes)
{
    const ssize_t size = ::write(m_master.get(), bytes.data(), bytes.size());
    return size == static_cast<ssize_t>(bytes.size());
}

Pty::Fate Pty::send(protocol::Bytes bytes, std::uint32_t baud, Time now)
{
    watch(now);
    if (!isOpenedByHost())
        return Fate::Unheard;
    const std::uint64_t session = m_ended;
    const std::uint32_t shown = shownBaud();
    const bool understood = shown == baud;
    const bool whole = writeAll(understood ? std::vector<unsigned char>(bytes.begin(), bytes.end())
                                           : garbage(bytes, baud, shown, m_garbage++));
    // A host that changed its speed in between must not find intact bytes of the old one.
    if (const bool changed = shownBaud() != shown; changed && understood) {
        dropUnread();
        return Fate::Garbled;
    }
    watch(now);
    if (m_ended != session)
        return Fate::Unheard;
    if (!understood)
        return Fate::Garbled;
    return whole ? Fate::Arrived : Fate::Overrun;
}

} // namespace sim
