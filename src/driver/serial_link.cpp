#include "driver/serial_link.h"

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

// Newer Boost adds the code and the place in its source to what(). Users read this text, so it is
// the same with every Boost: where it happened and the system's message.
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

// Long enough to cost nothing while a port is blocked, short enough to notice that it was closed.
constexpr auto kPollSlice = 100ms;
// How often a queue is asked whether it is empty: there is nothing to poll for.
constexpr int kQueuePauseMs = 1;
// Enough for the last command at the lowest baud rate of a device.
constexpr auto kCloseLimit = 1s;
// More than any port holds: a line that never pauses does not keep it from being opened.
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

// Of the input (FIONREAD) or the output (TIOCOUTQ); 0 for a port that is gone.
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

// A pseudo-terminal stays exclusive after it was closed; only root could open it again.
void closeExclusive(int fd)
{
    ::ioctl(fd, TIOCNXCL);
    ::close(fd);
}

// Not by Asio's open(): its descriptor would be inherited by every program started from here, which
// would then hold the port.
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

// Reads instead of flushing, so that what is dropped is counted to the last byte. Polling brings
// over what the kernel has not put into the queue yet.
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

SerialLink::SerialLink(boost::asio::io_context &context, std::chrono::milliseconds writeLimit)
    : m_port(context)
    , m_writeLimit(writeLimit)
{
}

void SerialLink::open(const std::string &path, unsigned int baud)
{
    const boost::mutex::scoped_lock lock(m_mutex);
    const int fd = openExclusive(path);
    error_code error;
    m_port.assign(fd, error);
    if (error) {
        closeExclusive(fd);
        fail(error, "open");
    }
    ++m_session;
    m_port.set_option(boost::asio::serial_port_base::baud_rate(baud), error);
    if (error) {
        error_code ignored;
        release(ignored);
        fail(error, "set_option");
    }
    // Until the speed was set the line ran at that of its last user; nothing read then is meant
    // for this one.
    m_discarded.add(drain(fd));
}

// The kernel lets close() wait up to 30 s for a line that does not take what was written.
void SerialLink::close()
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

void SerialLink::release(error_code &error)
{
    if (m_port.is_open())
        ::ioctl(m_port.native_handle(), TIOCNXCL);
    m_port.close(error);
}

bool SerialLink::isOpen() const
{
    const boost::mutex::scoped_lock lock(m_mutex);
    return m_port.is_open();
}

// The loops below take the descriptor anew in every turn: while they wait without the mutex,
// another thread may have closed the port, or closed and opened it.

std::size_t SerialLink::readSome(unsigned char *into, std::size_t size)
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

std::size_t SerialLink::bytesWaiting()
{
    const boost::mutex::scoped_lock lock(m_mutex);
    return m_port.is_open() ? queueSize(m_port.native_handle(), FIONREAD) : 0;
}

std::size_t SerialLink::writeSome(protocol::Bytes bytes)
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
        // Looked at after the attempt, so that a thread that was kept waiting makes another one.
        const auto left = until(end);
        if (left <= 0ms)
            fail(systemError(ETIMEDOUT), "write_some");
        awaitReady(fd, POLLOUT, left);
    }
}

std::size_t SerialLink::writeAll(protocol::Bytes bytes)
{
    std::size_t written = 0;
    while (written < bytes.size())
        written += writeSome(bytes.subspan(written));
    return written;
}

// With hardware flow control the device can stop the line at any moment, and tcdrain() would then
// wait without limit; what the adapter itself still holds leaves while the port is closed.
void SerialLink::awaitSent()
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

bool SerialLink::awaitEmptyOutput(std::chrono::milliseconds limit)
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
