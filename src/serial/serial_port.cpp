#include "serial/serial_port.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <boost/system/system_error.hpp>

using boost::system::error_code;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

// Users read what(). Newer Boost versions add the error code and a source location to it, so this
// class builds the same text with every version: the failed operation and the system's message.
class PortError : public boost::system::system_error
{
public:
    PortError(const error_code &code, const std::string &where)
        : system_error(code)
        , m_text(where + ": " + code.message())
    {
    }

    const char *what() const noexcept override { return m_text.c_str(); }

private:
    std::string m_text;
};

// Long enough to use little CPU time while a port is blocked, short enough to detect soon that
// another thread closed the port.
constexpr auto kPollSlice = 100ms;
// Interval between checks for an empty output queue; poll() cannot report that condition.
constexpr int kQueuePauseMs = 1;
// Enough to send the last command at the lowest baud rate of a device.
constexpr auto kCloseLimit = 1s;
// Limit of drain(), larger than the queue of any port. It lets open() return on a line that
// receives without pause.
constexpr std::size_t kLongestQueue = 1 << 20;

// All errors of the port are thrown here.
[[noreturn]] void fail(const error_code &error, const char *where)
{
    throw PortError(error, where);
}

error_code systemError(int number)
{
    return {number, boost::system::system_category()};
}

bool wouldBlock(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

// Bytes in the input queue (FIONREAD) or the output queue (TIOCOUTQ); 0 if the port no longer
// exists.
std::size_t queueSize(int fd, unsigned long which)
{
    int count = 0;
    return ::ioctl(fd, which, &count) == 0 ? static_cast<std::size_t>(count) : 0;
}

bool makeRaw(int fd)
{
    termios line{};
    if (::tcgetattr(fd, &line) != 0)
        return false;
    ::cfmakeraw(&line);
    line.c_iflag |= IGNPAR;
    line.c_cflag |= CREAD | CLOCAL;
    return ::tcsetattr(fd, TCSANOW, &line) == 0;
}

// Without TIOCNXCL a pseudo-terminal stays exclusive after close(), and only root could reopen it.
void closeExclusive(int fd)
{
    ::ioctl(fd, TIOCNXCL);
    ::close(fd);
}

// Does not use Asio's open(): every child process would inherit that descriptor and keep the port
// open.
int openExclusive(const std::string &path)
{
    const int fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        fail(systemError(errno), "open");
    if (::ioctl(fd, TIOCEXCL) != 0 || !makeRaw(fd)) {
        const error_code error = systemError(errno);
        closeExclusive(fd);
        fail(error, "open");
    }
    return fd;
}

bool hasHardwareFlowControl(int fd)
{
    termios line{};
    return ::tcgetattr(fd, &line) == 0 && (line.c_cflag & CRTSCTS) != 0;
}

// Reads instead of flushing, so that every dropped byte is counted. poll() makes the kernel move
// pending bytes into the queue first.
std::size_t drain(int fd)
{
    std::array<unsigned char, 4096> dropped;
    std::size_t total = 0;
    pollfd request{fd, POLLIN, 0};
    while (::poll(&request, 1, 0) == 1 && total < kLongestQueue) {
        const ssize_t count = ::read(fd, dropped.data(), dropped.size());
        if (count <= 0)
            break;
        total += static_cast<std::size_t>(count);
    }
    return total;
}

void awaitReady(int fd, short events, std::chrono::milliseconds limit = kPollSlice)
{
    pollfd request{fd, events, 0};
    ::poll(&request, 1, static_cast<int>(std::min(limit, kPollSlice).count()));
}

std::chrono::milliseconds until(Clock::time_point end)
{
    return std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
}

} // namespace

SerialPort::SerialPort(boost::asio::io_context &context, std::chrono::milliseconds writeLimit)
    : m_port(context)
    , m_writeLimit(writeLimit)
{
}

void SerialPort::open(const std::string &path, unsigned int baud)
{
    const boost::mutex::scoped_lock lock(m_mutex);
    const int fd = openExclusive(path);
    error_code error;
    m_port.assign(fd, error);
    if (error) {
        closeExclusive(fd);
        fail(error, "open");
    }
    ++m_openCount;
    m_port.set_option(boost::asio::serial_port_base::baud_rate(baud), error);
    if (error) {
        error_code ignored;
        release(ignored);
        fail(error, "set_option");
    }
    // Until set_option() the port had the baud rate of its previous user. Bytes received before
    // that do not belong to this session.
    m_discarded += drain(fd);
}

// Flushes the output queue first, because the kernel otherwise blocks close() for up to 30 s if the
// line does not accept the written bytes.
void SerialPort::close()
{
    const bool empty = awaitEmptyOutput(kCloseLimit);
    const boost::mutex::scoped_lock lock(m_mutex);
    if (!empty && m_port.is_open())
        ::tcflush(m_port.native_handle(), TCOFLUSH);
    error_code error;
    release(error);
    if (error)
        fail(error, "close");
}

void SerialPort::release(error_code &error)
{
    if (m_port.is_open())
        ::ioctl(m_port.native_handle(), TIOCNXCL);
    m_port.close(error);
}

bool SerialPort::isOpen() const
{
    const boost::mutex::scoped_lock lock(m_mutex);
    return m_port.is_open();
}

// The loops below read the descriptor again in every iteration: while they wait without the mutex,
// another thread may close the port, or close and reopen it.

std::size_t SerialPort::readSome(unsigned char *into, std::size_t size)
{
    for (;;) {
        int fd = -1;
        {
            const boost::mutex::scoped_lock lock(m_mutex);
            fd = m_port.is_open() ? m_port.native_handle() : -1;
            const ssize_t count = ::read(fd, into, size);
            if (count > 0)
                return static_cast<std::size_t>(count);
            if (count == 0)
                fail(boost::asio::error::eof, "read_some");
            if (!wouldBlock(errno))
                fail(systemError(errno), "read_some");
        }
        awaitReady(fd, POLLIN);
    }
}

std::size_t SerialPort::bytesWaiting()
{
    const boost::mutex::scoped_lock lock(m_mutex);
    return m_port.is_open() ? queueSize(m_port.native_handle(), FIONREAD) : 0;
}

std::size_t SerialPort::writeSome(std::span<const unsigned char> bytes)
{
    const auto end = Clock::now() + m_writeLimit;
    for (;;) {
        int fd = -1;
        {
            const boost::mutex::scoped_lock lock(m_mutex);
            fd = m_port.is_open() ? m_port.native_handle() : -1;
            const ssize_t count = ::write(fd, bytes.data(), bytes.size());
            if (count >= 0)
                return static_cast<std::size_t>(count);
            if (!wouldBlock(errno))
                fail(systemError(errno), "write_some");
        }
        // Checked after the attempt, so that a thread that was not scheduled for a long time makes
        // one more attempt.
        const auto left = until(end);
        if (left <= 0ms)
            fail(systemError(ETIMEDOUT), "write_some");
        awaitReady(fd, POLLOUT, left);
    }
}

std::size_t SerialPort::writeAll(std::span<const unsigned char> bytes)
{
    std::size_t written = 0;
    while (written < bytes.size())
        written += writeSome(bytes.subspan(written));
    return written;
}

// Skips tcdrain() with hardware flow control: the device can stop the line at any time, and
// tcdrain() would then wait without limit. Bytes still in the adapter are sent while the port is
// closed.
void SerialPort::awaitSent()
{
    if (!awaitEmptyOutput(m_writeLimit))
        fail(systemError(ETIMEDOUT), "write_some");
    int fd = -1;
    {
        const boost::mutex::scoped_lock lock(m_mutex);
        fd = m_port.is_open() ? m_port.native_handle() : -1;
    }
    if (fd >= 0 && !hasHardwareFlowControl(fd))
        ::tcdrain(fd);
}

bool SerialPort::awaitEmptyOutput(std::chrono::milliseconds limit)
{
    const auto end = Clock::now() + limit;
    for (;;) {
        {
            const boost::mutex::scoped_lock lock(m_mutex);
            if (!m_port.is_open() || queueSize(m_port.native_handle(), TIOCOUTQ) == 0)
                return true;
        }
        if (until(end) <= 0ms)
            return false;
        ::poll(nullptr, 0, kQueuePauseMs);
    }
}
