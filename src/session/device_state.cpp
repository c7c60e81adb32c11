#include "session/device_state.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/system/system_error.hpp>

#include "session/error.h"

namespace session {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

// A port that accepts no bytes, for example because of hardware flow control.
constexpr auto kWriteLimit = 2s;

// Calls an operation of the port, which throws, and returns its error.
template <typename Operation>
std::error_code errorOf(Operation operation)
{
    try {
        operation();
    } catch (const boost::system::system_error &error) {
        return error.code();
    }
    return {};
}

} // namespace

DeviceState::DeviceState(boost::asio::io_context &ioContext)
    : context(ioContext)
    , port(ioContext, kWriteLimit)
{
}

std::error_code DeviceState::open(const std::string &newPath, unsigned newBaud)
{
    if (m_waiting)
        return make_error_code(std::errc::resource_deadlock_would_occur);
    close();
    lost = {};
    if (const auto error = errorOf([&] { port.open(newPath, newBaud); }))
        return error;
    path = newPath;
    baud = newBaud;
    receiver.restart(newBaud);
    armRead();
    return {};
}

std::error_code DeviceState::close()
{
    return port.isOpen() ? errorOf([this] { port.close(); }) : std::error_code{};
}

std::error_code DeviceState::write(const CommandBuilder::Packet &packet)
{
    if (!port.isOpen())
        return lost ? lost : make_error_code(Error::NotOpen);
    if (const auto error = errorOf([&] { port.writeAll(packet); })) {
        if (error == std::errc::timed_out)
            return error;
        loseLink();
        return Error::LinkLost;
    }
    if (onWritten)
        onWritten(packet, ReceiveTime::now());
    return {};
}

void DeviceState::armRead()
{
    const unsigned session = port.openCount();
    port.asyncReadSome(m_buffer,
                       [self = shared_from_this(), session](const auto &error, std::size_t count) {
                           self->readDone(session, error, count);
                       });
}

// A read that belongs to an earlier opening, or that close() has cancelled, is not rearmed.
void DeviceState::readDone(unsigned session, const boost::system::error_code &error,
                           std::size_t count)
{
    if (session != port.openCount() || !port.isOpen())
        return;
    if (error || count == 0) {
        loseLink();
        return;
    }
    const ReceiveTime now = ReceiveTime::now();
    const Receiver::Bytes bytes(m_buffer.data(), count);
    if (onReceived)
        onReceived(bytes, now);
    receiver.feed(bytes, now);
    if (session == port.openCount() && port.isOpen())
        armRead();
}

void DeviceState::loseLink()
{
    lost = Error::LinkLost;
    errorOf([this] { port.close(); });
    if (onLost)
        onLost(lost);
}

std::error_code DeviceState::runUntil(const std::function<bool()> &done, Clock::time_point deadline)
{
    if (m_waiting)
        return make_error_code(std::errc::resource_deadlock_would_occur);
    struct Waiting
    {
        bool &flag;
        explicit Waiting(bool &waiting)
            : flag(waiting)
        {
            flag = true;
        }
        ~Waiting() { flag = false; }
    } const waiting(m_waiting);
    const auto work = boost::asio::make_work_guard(context);
    context.restart();
    while (!done()) {
        if (lost)
            return lost;
        if (!port.isOpen())
            return Error::NotOpen;
        const bool ran = context.run_one_until(deadline) != 0;
        if (context.stopped())
            return Error::Stopped;
        if (!ran)
            return make_error_code(std::errc::timed_out);
    }
    return {};
}

std::error_code DeviceState::request(const CommandBuilder::Packet &packet, const Judge &judge)
{
    return request(packet, judge, retryPolicy);
}

std::error_code DeviceState::request(const CommandBuilder::Packet &packet, const Judge &judge,
                                     const RetryPolicy &allowed)
{
    if (m_waiting)
        return make_error_code(std::errc::resource_deadlock_would_occur);
    Verdict verdict = Verdict::Waiting;
    bool refused = false;
    receiver.onReply = [&](Receiver::Bytes reply) {
        if (verdict != Verdict::Confirmed)
            verdict = judge(reply);
    };
    struct NoJudge
    {
        Receiver &receiver;
        ~NoJudge() { receiver.onReply = {}; }
    } const afterwards{receiver};

    for (int attempt = 0; attempt < allowed.attempts; ++attempt) {
        verdict = Verdict::Waiting;
        if (const auto error = write(packet))
            return error;
        const auto error = runUntil([&] { return verdict != Verdict::Waiting; },
                                    Clock::now() + allowed.perAttempt);
        if (error && error != std::errc::timed_out)
            return error;
        if (verdict == Verdict::Confirmed)
            return {};
        refused = refused || verdict == Verdict::Refused;
    }
    return refused ? Error::Refused : Error::NoAnswer;
}

} // namespace session
