#pragma once

#include "driver/ImuDriver.h"
#include "sim/CommandParser.h"
#include "sim/Device.h"
#include "sim/Pty.h"

#include <boost/shared_ptr.hpp>

#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace faults {

using std::chrono::milliseconds;

// The real driver and the simulated unit at the two ends of a pseudo-terminal, in a time of their
// own: it passes only while the driver sleeps, and no sleep in which the unit replies ends before
// the driver's reader has taken the reply. So a retry is a retry on any machine, and waits of hours
// take seconds.
//
// One thread; the unit is served on it, inside the driver's sleeps.
class FaultBed
{
public:
    // Thrown out of a sleep, and so out of an operation that sends more than it was to.
    struct Stuck
    {
    };

    static constexpr std::uint32_t kBaud = 1000000;

    FaultBed();
    FaultBed(const FaultBed &) = delete;
    FaultBed &operator=(const FaultBed &) = delete;

    imu &driver() { return *m_driver; }
    sim::Device &device() { return *m_device; }

    // The program's one driver has had answers before. This takes one that has not, and leaves the
    // old one at a line on which nobody speaks.
    void replaceDriver();

    // A new unit at a new line, to which the driver is connected at the unit's speed. At kBaud,
    // streaming quaternions at 50 Hz.
    void connectToNewUnit();
    // The same without the connection.
    void plugInNewUnit();
    void connect(std::uint32_t baud);
    bool isConnected() { return m_driver->setSyncEnabled(true); }

    // The cable: the line is hung up and its path gone; it comes back as another, the unit powered
    // up.
    void unplug();
    void plugIn();
    bool isPluggedIn() const { return m_pty != nullptr; }

    // Lets time pass, to its end for the driver's reader too.
    void pass(milliseconds duration);
    // Lets time pass until the condition holds; false if it does not within the time.
    bool passUntil(milliseconds duration, const std::function<bool()> &condition);

    // From now on: counts the host's commands of this code, however fast they were sent, and the
    // time that passes.
    void observe(unsigned char code);
    int commands() const { return m_commands; }
    milliseconds slept() const { return m_slept; }
    // Quaternions decoded so far.
    int samples() const { return m_samples; }

    // What happens next, until observe() is called again: at a time, at a command (before the unit
    // has it, or after), and for an operation that goes on for longer than it should.
    void at(milliseconds time, std::function<void()> action);
    void beforeCommand(std::function<void()> action) { m_beforeCommand = std::move(action); }
    void afterCommand(std::function<void()> action) { m_afterCommand = std::move(action); }
    void giveUpAfter(int commands) { m_commandLimit = commands; }

private:
    static boost::shared_ptr<imu> startedDriver(FaultBed &self);
    void layCable();
    void sleep(milliseconds duration);
    void advance(milliseconds duration);
    void step(milliseconds duration);
    void hear();
    void hearBytes(protocol::Bytes bytes, std::uint32_t hostBaud);
    void speak();
    bool mayHaveReplied();
    void awaitReader();

    sim::Pty m_rest; // where retired drivers wait
    boost::shared_ptr<imu> m_driver;
    std::atomic<int> m_samples{0};
    std::atomic<int> m_readerThread{0}; // its id, once it has decoded a sample

    std::unique_ptr<sim::Device> m_device;
    std::unique_ptr<sim::Pty> m_pty; // null while unplugged
    QTemporaryDir m_directory;
    const std::string m_path; // a link to the line: its own name is soon that of another program's
    std::uint32_t m_hostBaud = 0; // that of connect()
    sim::Time m_now{0};
    bool m_spoke = false; // since the reader was last waited for
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
};

} // namespace faults
