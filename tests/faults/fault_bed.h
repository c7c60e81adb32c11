#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <boost/shared_ptr.hpp>

#include <QTemporaryDir>

#include "driver/imu.h"
#include "sim/device/command_parser.h"
#include "sim/device/imu_simulator.h"
#include "sim/line/packet_delivery.h"
#include "sim/line/pty.h"

namespace faults {

using std::chrono::milliseconds;

// The real driver and the simulated device at the two ends of a pseudo-terminal, on a simulated
// clock. Time passes only while the driver sleeps. A sleep in which the device replies ends only
// after the driver's reader has taken the reply. So the number of retries does not depend on the
// machine, and waits of hours take seconds.
//
// One thread; the device runs on it, inside the driver's sleeps. Only a write that the port does
// not take waits in real time: another thread notices it, and then time passes at once.
class FaultBed
{
public:
    // Thrown from a sleep to end an operation that sends more commands than its limit.
    struct Stuck
    {
    };

    static constexpr std::uint32_t kBaud = 1000000;

    FaultBed();
    FaultBed(const FaultBed &) = delete;
    FaultBed &operator=(const FaultBed &) = delete;

    imu &driver() { return *m_driver; }
    sim::ImuSimulator &device() { return *m_device; }

    // Replaces the driver by one that has received no reply yet. The old driver stays connected to
    // a line that carries no bytes.
    void replaceDriver();

    // Connects the driver to a new device on a new line, at the device's baud rate, kBaud. The
    // device streams quaternions at 50 Hz.
    void connectToNewDevice();
    // The same without connecting the driver.
    void plugInNewDevice();
    void connect(std::uint32_t baud);
    bool isConnected() { return m_driver->setSyncEnabled(true); }

    // unplug() hangs the line up, removes its path and cuts the power. plugIn() creates another
    // line, at the same path or another one, and switches the power on.
    enum class Path { Same, Other };
    void unplug();
    void plugIn(Path path = Path::Same);
    bool isPluggedIn() const { return m_pty != nullptr; }
    // Since the device is new.
    bool wasUnplugged() const { return m_wasUnplugged; }

    // What the line does to the bytes of the device from now on.
    void setLineOptions(const sim::LineOptions &options) { m_delivery.setOptions(options); }
    const sim::LineCounters &lineCounters() const { return m_delivery.counters(); }
    // From now on the port takes no bytes of the driver, until a write has waited for `time`.
    void stallOutput(milliseconds time);
    void endStall();
    // True if a write has waited since observe().
    bool hasStalled() const { return m_hasStalled; }

    // Advances the clock and waits until the driver's reader has decoded all bytes of that time.
    void pass(milliseconds duration);
    // Advances the clock until the condition holds; false if it does not within `duration`.
    bool passUntil(milliseconds duration, const std::function<bool()> &condition);

    // Restarts the measurement: counts the host's commands with this code, even if several arrive
    // at once, and the time that passes. Removes the actions below.
    void observe(unsigned char code);
    int commands() const { return m_commands; }
    milliseconds slept() const { return m_slept; }
    // Quaternions decoded so far.
    int samples() const { return m_samples; }

    // Actions until the next observe(): at a time, before or after the device receives a command,
    // the limit of commands after which the operation is ended with Stuck, and whether the cable is
    // unplugged while a write waits.
    void at(milliseconds time, std::function<void()> action);
    void beforeCommand(std::function<void()> action) { m_beforeCommand = std::move(action); }
    void afterCommand(std::function<void()> action) { m_afterCommand = std::move(action); }
    void giveUpAfter(int commands) { m_commandLimit = commands; }
    void unplugInStall() { m_unplugsInStall = true; }

private:
    static boost::shared_ptr<imu> startedDriver(FaultBed &self);
    void layCable();
    void pullCable();
    void watchStall(const std::stop_token &stop, milliseconds time);
    void passStallTime();
    void sleep(milliseconds duration);
    void advance(milliseconds duration);
    void step(milliseconds duration);
    void receivePending();
    void hearBytes(protocol::Bytes bytes, std::uint32_t hostBaud);
    void transmitDue();
    bool mayHaveReplied();
    void awaitReader();

    sim::Pty m_rest; // line of the replaced drivers
    boost::shared_ptr<imu> m_driver;
    std::atomic<int> m_samples{0};
    std::atomic<int> m_readerThread{0}; // thread id, 0 until it has decoded a sample

    std::unique_ptr<sim::ImuSimulator> m_device;
    std::unique_ptr<sim::Pty> m_pty; // null while unplugged
    QTemporaryDir m_directory;
    std::string m_path; // link to the line: another program may reuse its name
    bool m_wasUnplugged = false;
    sim::PacketDelivery m_delivery;
    std::uint32_t m_hostBaud = 0; // baud rate of connect()
    sim::Time m_now{0};
    bool m_spoke = false; // since the last wait for the reader
    std::uint64_t m_replies = 0;
    sim::Time m_lastReply{0};

    sim::CommandParser m_counter;
    unsigned char m_code = 0;
    int m_commands = 0;
    int m_commandLimit = 0;
    milliseconds m_slept{0};
    milliseconds m_due{0};
    std::function<void()> m_action;
    std::function<void()> m_beforeCommand;
    std::function<void()> m_afterCommand;

    const int m_thread;  // id of the thread of the bed
    std::mutex m_inside; // held by that thread while it is in the bed, not in the driver
    bool m_unplugsInStall = false;
    std::atomic<bool> m_hasStalled{false};
    milliseconds m_stallTime{0}; // guarded by m_inside; of a stall that has ended
    std::jthread m_stallWatcher; // last member: it uses all members above
};

} // namespace faults
