#include "tests/support/pty_port.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

[[noreturn]] void fail(const char *what)
{
    throw std::system_error(errno, std::system_category(), what);
}

// False when the deadline has passed.
bool awaitEvent(int fd, short events, Clock::time_point end)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    pollfd request{fd, events, 0};
    return left > 0ms && ::poll(&request, 1, static_cast<int>(left.count())) > 0;
}

// This process's descriptor of the path; -1 if there is none.
int descriptorOf(const std::string &path)
{
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (std::filesystem::read_symlink(entry.path(), ignored) == path)
            return std::stoi(entry.path().filename().string());
    }
    return -1;
}

struct Speed
{
    speed_t constant;
    unsigned int baud;
};

constexpr std::array<Speed, 31> kSpeeds{{
    {B0, 0},
    {B50, 50},
    {B75, 75},
    {B110, 110},
    {B134, 134},
    {B150, 150},
    {B200, 200},
    {B300, 300},
    {B600, 600},
    {B1200, 1200},
    {B1800, 1800},
    {B2400, 2400},
    {B4800, 4800},
    {B9600, 9600},
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
    {B2000000, 2000000},
    {B2500000, 2500000},
    {B3000000, 3000000},
    {B3500000, 3500000},
    {B4000000, 4000000},
}};

} // namespace

PtyPort::PtyPort()
    : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    std::array<char, 64> name{};
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0 ||
        ::ptsname_r(m_master, name.data(), name.size()) != 0)
        fail("pty");
    m_path = name.data();
    termios settings{};
    if (::tcgetattr(m_master, &settings) != 0)
        fail("tcgetattr");
    ::cfmakeraw(&settings);
    if (::tcsetattr(m_master, TCSANOW, &settings) != 0)
        fail("tcsetattr");
}

PtyPort::~PtyPort()
{
    hangUp();
}

void PtyPort::hangUp()
{
    if (m_master >= 0)
        ::close(m_master);
    m_master = -1;
}

bool PtyPort::write(const QByteArray &bytes, std::chrono::milliseconds deadline)
{
    const auto end = Clock::now() + deadline;
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(m_master, bytes.constData() + done,
                                      static_cast<std::size_t>(bytes.size() - done));
        if (count > 0)
            done += count;
        else if (errno != EAGAIN || !awaitEvent(m_master, POLLOUT, end))
            return false;
    }
    return true;
}

QByteArray PtyPort::readAvailable()
{
    std::array<char, 4096> chunk;
    // While the host has the port closed, read() fails with EIO: no bytes have arrived.
    const ssize_t count = ::read(m_master, chunk.data(), chunk.size());
    return {chunk.data(), count > 0 ? count : 0};
}

QByteArray PtyPort::read(qsizetype count, std::chrono::milliseconds deadline)
{
    const auto end = Clock::now() + deadline;
    QByteArray bytes;
    while (bytes.size() < count && Clock::now() < end) {
        char byte = 0;
        if (::read(m_master, &byte, 1) == 1)
            bytes.append(byte);
        else if (errno == EAGAIN)
            awaitEvent(m_master, POLLIN, end);
        else
            ::poll(nullptr, 0, 1); // the host has the port closed: poll() would return at once
    }
    return bytes;
}

unsigned int PtyPort::speed() const
{
    termios settings{};
    if (::tcgetattr(m_master, &settings) != 0)
        fail("tcgetattr");
    for (const Speed &speed : kSpeeds) {
        if (speed.constant == ::cfgetospeed(&settings))
            return speed.baud;
    }
    return ~0u;
}

bool PtyPort::isRaw() const
{
    termios settings{};
    if (::tcgetattr(m_master, &settings) != 0)
        fail("tcgetattr");
    return (settings.c_lflag & (ICANON | ECHO | ISIG | IEXTEN)) == 0 &&
           (settings.c_iflag & (IXON | ICRNL | INLCR | ISTRIP | BRKINT | PARMRK)) == 0 &&
           (settings.c_iflag & IGNPAR) != 0 && (settings.c_oflag & OPOST) == 0 &&
           (settings.c_cflag & (CSIZE | PARENB)) == CS8 &&
           (settings.c_cflag & (CREAD | CLOCAL)) == (CREAD | CLOCAL);
}

int PtyPort::unreadByHost() const
{
    // Written bytes wait in the host's input queue; only a descriptor of the host's end can count
    // them.
    const int host = ::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    // The driver opens the port exclusively. Unless this process is root, only the driver's own
    // descriptor is available.
    const int any = host < 0 && errno == EBUSY ? descriptorOf(m_path) : host;
    int count = 0;
    const bool counted = any >= 0 && ::ioctl(any, FIONREAD, &count) == 0;
    if (host >= 0)
        ::close(host);
    if (!counted)
        fail("FIONREAD");
    return count;
}
