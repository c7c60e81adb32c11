#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>

#include <boost/asio/io_context.hpp>

#include "session/receiver.h"
#include "session/result.h"
#include "session/sample.h"
#include "session/settings.h"

namespace session {

class DeviceState;

// How long a request waits: each attempt for its answer, and the number of attempts.
struct RetryPolicy
{
    std::chrono::milliseconds perAttempt{500};
    int attempts = 4;
};

// One device on one serial port.
//
// The object starts no thread. All calls come from the one thread that runs the io_context, and
// callbacks are called on it: by io_context::run(), and by the requests below, which run the
// io_context until the device has answered. While nothing arrives, that thread sleeps in the
// kernel. Several devices can share an io_context. A callback must not call a request, open() or
// close() of the device that called it; the request then fails with
// std::errc::resource_deadlock_would_occur. It may stop the io_context, which ends a request with
// Error::Stopped.
//
// Errors are returned, and never thrown: Error, or those of the system for the port
// (std::errc::permission_denied, device_or_resource_busy, no_such_file_or_directory ...).
class Device
{
public:
    using Bytes = std::span<const unsigned char>;

    explicit Device(boost::asio::io_context &context);
    ~Device(); // closes the port
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    // Opens a device node such as "/dev/ttyUSB0" at `baud` for this program alone. Bytes that
    // arrived before are dropped. An open port is closed first.
    std::error_code open(const std::string &path, unsigned baud);
    // Waits up to a second until written bytes have left.
    std::error_code close();
    bool isOpen() const;
    const std::string &path() const;
    unsigned baud() const; // of the port

    // --- Callbacks; an empty function removes one ---------------------------------------------

    void onSample(std::function<void(const Sample &sample)> handler);
    // Each intact packet, data or reply, and when its first byte arrived.
    void onPacket(std::function<void(Bytes packet, const ReceiveTime &at)> handler);
    // The bytes of each read, damaged or not, and of each write, with the time of its end.
    void onReceived(std::function<void(Bytes bytes, const ReceiveTime &at)> handler);
    void onWritten(std::function<void(Bytes bytes, const ReceiveTime &at)> handler);
    // The port stopped working, usually because the device was unplugged. It is closed already.
    void onLost(std::function<void(std::error_code error)> handler);

    // Since construction.
    const Statistics &statistics() const;
    // The last settings that were read completely.
    const std::optional<Settings> &knownSettings() const;

    // --- Requests: each repeats its command until the device confirms it -----------------------

    void setRetryPolicy(const RetryPolicy &retryPolicy);
    const RetryPolicy &retryPolicy() const;

    Result<Settings> readSettings();
    std::error_code setDataRate(std::uint16_t rateHz);
    std::error_code setOutputs(std::uint16_t mask);
    std::error_code setZeroThreshold(float threshold);
    // Changes the baud rate of the device and of the port, and reads the settings at the new one.
    // After an error the port has the baud rate at which the device answered last.
    std::error_code setBaudRate(unsigned baud);
    std::error_code setMagneticCalibration(const MagneticCalibration &calibration);
    // Stores the settings in use in the flash of the device.
    std::error_code save();
    // Stores factory settings in the flash; they take effect when the device is switched on again.
    std::error_code factoryReset();

    // Runs the io_context until `done` returns true (no error), the deadline has passed
    // (std::errc::timed_out), or the link is lost. `done` is called after each callback.
    std::error_code runUntil(const std::function<bool()> &done,
                             std::chrono::steady_clock::time_point deadline);

private:
    std::shared_ptr<DeviceState> m_state;
};

} // namespace session
