#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include <boost/asio/basic_serial_port.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/thread/mutex.hpp>

// A serial port that one thread reads from asynchronously while others open, close and write it.
//
// Asio's port is not thread-safe, so every access to it happens under m_mutex. No thread holds the
// mutex while it waits for the line. A caller may hold its own lock: the driver writes two of its
// commands under its lock, and so holds that lock for up to the write limit. Errors are
// boost::system::system_error; what() is "open", "set_option", "close", "read_some" or
// "write_some", a colon and the system's message.
class SerialPort
{
public:
    // `writeLimit`: how long a write waits for a port that accepts no bytes.
    explicit SerialPort(boost::asio::io_context &context,
                        std::chrono::milliseconds writeLimit = std::chrono::seconds(5));

    // Opens `path` in raw mode with 8 data bits at `baud`, and drops bytes received before the port
    // had that baud rate. Stop bits and hardware flow control keep the settings of the device node.
    // While open, the port is exclusive (a second opener that is not root gets EBUSY), and child
    // processes do not inherit it. On failure the port is closed again.
    void open(const std::string &path, unsigned int baud);
    // Waits up to one second for the output queue to empty and drops the rest. The port is closed
    // even if this throws.
    void close();
    bool isOpen() const;
    // Number of times the port was opened.
    unsigned int openCount() const { return m_openCount; }
    // Bytes that open() has dropped so far.
    std::uint64_t discarded() const { return m_discarded; }

    // Starts a read of one byte and returns the session it belongs to. While the port is closed,
    // the read fails at once and the handler receives the error.
    template <typename Handler>
    unsigned int asyncReadByte(unsigned char &into, Handler &&handler)
    {
        const boost::mutex::scoped_lock lock(m_mutex);
        m_port.async_read_some(boost::asio::buffer(&into, 1), std::forward<Handler>(handler));
        return m_openCount;
    }

    // Starts a read of what the line has delivered, at most `into`, and returns the session it
    // belongs to, like asyncReadByte(). `into` must stay valid until the handler is called.
    template <typename Handler>
    unsigned int asyncReadSome(std::span<unsigned char> into, Handler &&handler)
    {
        const boost::mutex::scoped_lock lock(m_mutex);
        m_port.async_read_some(boost::asio::buffer(into.data(), into.size()),
                               std::forward<Handler>(handler));
        return m_openCount;
    }

    // One blocking read of up to `size` bytes.
    std::size_t readSome(unsigned char *into, std::size_t size);
    // Bytes in the input queue; 0 when closed.
    std::size_t bytesWaiting();

    // One write call, made when the port is writable; may be short. Throws ETIMEDOUT if the port
    // accepts no byte within the write limit.
    std::size_t writeSome(std::span<const unsigned char> bytes);
    // Repeats write calls until all bytes are written; the limit applies to each write call.
    std::size_t writeAll(std::span<const unsigned char> bytes);
    // Waits until all written bytes have left the port; returns at once if the port is closed.
    // Throws ETIMEDOUT ("write_some") after the write limit.
    void awaitSent();

private:
    // Under m_mutex.
    void release(boost::system::error_code &error);
    // True once the output queue is empty or the port closed, false after `limit`.
    bool awaitEmptyOutput(std::chrono::milliseconds limit);

    mutable boost::mutex m_mutex;
    // Typed with the context's executor instead of any_io_executor, which avoids a type-erased call
    // for each read handler.
    boost::asio::basic_serial_port<boost::asio::io_context::executor_type> m_port; // under m_mutex
    std::atomic<unsigned int> m_openCount{0};
    std::atomic<std::uint64_t> m_discarded{0};
    const std::chrono::milliseconds m_writeLimit;
};
