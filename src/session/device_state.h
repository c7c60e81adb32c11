#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>

#include "protocol/command_builder.h"
#include "serial/serial_port.h"
#include "session/device.h"

namespace session {

// What a device object holds. Shared with the handler of the pending read, because a cancelled read
// calls its handler later, possibly after the device object is gone.
class DeviceState : public std::enable_shared_from_this<DeviceState>
{
public:
    enum class Verdict { Waiting, Confirmed, Refused };
    // Judges an intact reply packet.
    using Judge = std::function<Verdict(Receiver::Bytes reply)>;

    explicit DeviceState(boost::asio::io_context &context);

    std::error_code open(const std::string &path, unsigned baud);
    std::error_code close();
    std::error_code write(const CommandBuilder::Packet &packet);
    // Sends `packet` until `judge` confirms a reply or the attempts are used up.
    std::error_code request(const CommandBuilder::Packet &packet, const Judge &judge);
    // The same, with another policy.
    std::error_code request(const CommandBuilder::Packet &packet, const Judge &judge,
                            const RetryPolicy &allowed);
    std::error_code runUntil(const std::function<bool()> &done,
                             std::chrono::steady_clock::time_point deadline);
    std::error_code changeBaudRate(unsigned baud);
    Result<Settings> readSettings(const RetryPolicy &allowed);

    boost::asio::io_context &context;
    SerialPort port;
    Receiver receiver;
    CommandBuilder commands;
    std::string path;
    unsigned baud = 0;
    RetryPolicy retryPolicy;
    std::optional<Settings> settings;
    std::error_code lost; // why the open port stopped working

    std::function<void(Receiver::Bytes, const ReceiveTime &)> onReceived;
    std::function<void(Receiver::Bytes, const ReceiveTime &)> onWritten;
    std::function<void(std::error_code)> onLost;

private:
    void armRead();
    void readDone(unsigned session, const boost::system::error_code &error, std::size_t count);
    void loseLink();
    std::error_code requestBaudRate(unsigned newBaud, const CommandBuilder::Packet &command);
    struct BaudTrial
    {
        unsigned baud;
        RetryPolicy allowed;
    };
    Result<unsigned> firstThatAnswers(const std::array<BaudTrial, 2> &trials);

    bool m_waiting = false;
    std::array<unsigned char, 4096> m_buffer{};
};

} // namespace session
