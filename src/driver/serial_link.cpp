#include "driver/serial_link.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <boost/system/system_error.hpp>

using boost::system::error_code;

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
constexpr int kPollSliceMs = 100;
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

std::size_t inputQueueSize(int fd)
{
    int count = 0;
    return ::ioctl(fd, FIONREAD, &count) == 0 ? static_cast<std::size_t>(count) : 0;
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

void awaitReady(int fd, short events)
{
    pollfd request{fd, events, 0};
    ::poll(&request, 1, kPollSliceMs);
}

} // namespace

SerialLink::SerialLink(boost::asio::io_context &context)
    : m_port(context)
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

void SerialLink::close()
{
    const boost::mutex::scoped_lock lock(m_mutex);
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
    return m_port.is_open() ? inputQueueSize(m_port.native_handle()) : 0;
}

std::size_t SerialLink::writeSome(protocol::Bytes bytes)
{
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
        awaitReady(fd, POLLOUT);
    }
}

std::size_t SerialLink::writeAll(protocol::Bytes bytes)
{
    std::size_t written = 0;
    while (written < bytes.size())
        written += writeSome(bytes.subspan(written));
    return written;
}
