#include "session/device.h"

#include <utility>

#include "session/device_state.h"

namespace session {

Device::Device(boost::asio::io_context &context)
    : m_state(std::make_shared<DeviceState>(context))
{
}

// The pending read may outlive this object, so nothing of the caller stays in the callbacks.
Device::~Device()
{
    onSample({});
    onPacket({});
    onReceived({});
    onWritten({});
    onLost({});
    m_state->close();
}

std::error_code Device::open(const std::string &path, unsigned baud)
{
    return m_state->open(path, baud);
}

std::error_code Device::close()
{
    return m_state->close();
}

bool Device::isOpen() const
{
    return m_state->port.isOpen();
}

const std::string &Device::path() const
{
    return m_state->path;
}

unsigned Device::baud() const
{
    return m_state->baud;
}

void Device::onSample(std::function<void(const Sample &)> handler)
{
    m_state->receiver.onSample = std::move(handler);
}

void Device::onPacket(std::function<void(Bytes, const ReceiveTime &)> handler)
{
    m_state->receiver.onPacket = std::move(handler);
}

void Device::onReceived(std::function<void(Bytes, const ReceiveTime &)> handler)
{
    m_state->onReceived = std::move(handler);
}

void Device::onWritten(std::function<void(Bytes, const ReceiveTime &)> handler)
{
    m_state->onWritten = std::move(handler);
}

void Device::onLost(std::function<void(std::error_code)> handler)
{
    m_state->onLost = std::move(handler);
}

const Statistics &Device::statistics() const
{
    return m_state->receiver.statistics();
}

const std::optional<Settings> &Device::knownSettings() const
{
    return m_state->settings;
}

void Device::setRetryPolicy(const RetryPolicy &retryPolicy)
{
    m_state->retryPolicy = retryPolicy;
}

const RetryPolicy &Device::retryPolicy() const
{
    return m_state->retryPolicy;
}

std::error_code Device::runUntil(const std::function<bool()> &done,
                                 std::chrono::steady_clock::time_point deadline)
{
    return m_state->runUntil(done, deadline);
}

} // namespace session
