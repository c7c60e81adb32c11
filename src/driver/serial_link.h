#pragma once

#include "driver/link_statistics.h"
#include "driver/protocol.h"

#include <boost/asio/basic_serial_port.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/thread/mutex.hpp>

#include <atomic>
#include <chrono>
#include <string>
#include <utility>

// A serial port that one thread reads from asynchronously while others open, close and write it.
//
// Asio's port is not safe for that on its own, so every touch of it happens under m_mutex. The
// mutex is never held while waiting for the line. A caller's own lock may be: the driver writes
// two of its commands under its lock, and so holds it for up to the write limit. Errors are
// boost::system::system_error; what() is "open", "set_option", "close", "read_some" or
// "write_some", a colon and the system's message.
class SerialLink
{
public:
    // `writeLimit`: how long a write waits for a port that takes no bytes.
    explicit SerialLink(boost::asio::io_context &context,
                        std::chrono::milliseconds writeLimit = std::chrono::seconds(5));

    // Opens `path` raw and 8 bits wide at `baud` and drops what was received before the line had
    // that speed. Stop bits and hardware flow control stay as the node had them. While it is open
    // the port is exclusive (a second opener that is not root gets EBUSY) and is not inherited by
    // programs started meanwhile. On failure the port is closed again.
    void open(const std::string &path, unsigned int baud);
    // Drops what has not left the port within a second. The port is closed even if this throws.
    void close();
    bool isOpen() const;
    // How often the port was opened.
    unsigned int session() const { return m_session; }
    // What open() has dropped so far, in bytes.
    std::uint64_t discarded() const { return m_discarded.value(); }

    // Starts a read of one byte and returns the session it belongs to. While the port is closed the
    // read fails at once, through the handler like any other.
    template <typename Handler>
    unsigned int asyncReadByte(unsigned char &into, Handler &&handler)
    {
        const boost::mutex::scoped_lock lock(m_mutex);
        m_port.async_read_some(boost::asio::buffer(&into, 1), std::forward<Handler>(handler));
        return m_session;
    }

    // One blocking read of up to `size` bytes.
    std::size_t readSome(unsigned char *into, std::size_t size);
    // Bytes in the input queue; 0 when closed.
    std::size_t bytesWaiting();

    // One write call, made when the port is writable; may be short. ETIMEDOUT if the port takes
    // nothing within the write limit.
    std::size_t writeSome(protocol::Bytes bytes);
    // Writes until all bytes are taken; the limit applies to each write call.
    std::size_t writeAll(protocol::Bytes bytes);
    // Waits until all that was written has left the port; at once if closed. ETIMEDOUT
    // ("write_some") if it has not within the write limit.
    void awaitSent();

private:
    // Under m_mutex.
    void release(boost::system::error_code &error);
    // True once the output queue is empty or the port closed, false after `limit`.
    bool awaitEmptyOutput(std::chrono::milliseconds limit);

    mutable boost::mutex m_mutex;
    // On the context itself, not on any executor: a read then asks no one how to run its handler.
    boost::asio::basic_serial_port<boost::asio::io_context::executor_type> m_port; // under m_mutex
    std::atomic<unsigned int> m_session{0};
    LinkCount m_discarded; // counted under m_mutex
    const std::chrono::milliseconds m_writeLimit;
};
