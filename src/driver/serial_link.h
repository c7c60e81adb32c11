#pragma once

#include "driver/link_statistics.h"
#include "driver/protocol.h"

#include <boost/asio/basic_serial_port.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/thread/mutex.hpp>

#include <atomic>
#include <string>
#include <utility>

// A serial port that one thread reads from asynchronously while others open, close and write it.
//
// Asio's port is not safe for that on its own, so every touch of it happens under m_mutex. The
// mutex is never held while waiting for the line. Errors are boost::system::system_error; what() is
// "open", "set_option", "close", "read_some" or "write_some", a colon and the system's message.
class SerialLink
{
public:
    explicit SerialLink(boost::asio::io_context &context);

    // Opens `path` raw and 8 bits wide at `baud` and drops what was received before the line had
    // that speed. Stop bits and hardware flow control stay as the node had them. While it is open
    // the port is exclusive (a second opener that is not root gets EBUSY) and is not inherited by
    // programs started meanwhile. On failure the port is closed again.
    void open(const std::string &path, unsigned int baud);
    // The port is closed even if this throws.
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

    // One write call, made when the port is writable; may be short.
    std::size_t writeSome(protocol::Bytes bytes);
    // Writes until all bytes are out, however long the port blocks.
    std::size_t writeAll(protocol::Bytes bytes);

private:
    // Under m_mutex.
    void release(boost::system::error_code &error);

    mutable boost::mutex m_mutex;
    // On the context itself, not on any executor: a read then asks no one how to run its handler.
    boost::asio::basic_serial_port<boost::asio::io_context::executor_type> m_port; // under m_mutex
    std::atomic<unsigned int> m_session{0};
    LinkCount m_discarded; // counted under m_mutex
};
