#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "driver/imu.h"
#include "recording/recording.h"
#include "tests/fixtures/pty_port.h"
#include "tests/recordings/expectation.h"

// "name v v v", each value with nine digits, which identify every float exactly.
std::string blockText(const std::string &name, const float *values, std::size_t count);

// Plays a recorded device to the driver, whose own reader takes the bytes from a pty. After every
// packet it compares the driver's sample with the expected one.
//
// Time is the time of the recording: it advances while an operation of the driver sleeps, so
// slept() must be the driver's sleeper. Where the recorded host sent a command, the player calls
// the operation of the driver that sends the same command. It compares the bytes that the driver
// sends and the result.
class LinePlayer
{
public:
    // The difference found. The exception also ends an operation of the driver that would never
    // return.
    struct Mismatch : std::runtime_error
    {
        using runtime_error::runtime_error;
    };

    // The driver is started and not connected; the destructor disconnects it.
    LinePlayer(imu &driver, recording::Recording recording, Expectation expectation);
    ~LinePlayer();
    LinePlayer(const LinePlayer &) = delete;
    LinePlayer &operator=(const LinePlayer &) = delete;

    void play(); // throws Mismatch
    void slept(std::chrono::milliseconds duration);

private:
    struct HostEnd;

    void plugIn();
    void pullOut();
    bool playUntil(std::chrono::microseconds now);
    void playEvent();
    void deliver(std::size_t end);
    void step(std::size_t boundary);
    void awaitConsumed() const;
    void check(std::size_t position);
    std::string freshSample();
    void call();
    void compareHostBytes(std::size_t begin, std::size_t end);

    imu &m_driver;
    const recording::Recording m_recording;
    const Expectation m_expectation;

    // For the whole recording.
    std::vector<unsigned char> m_unitBytes;
    std::vector<unsigned char> m_hostBytes;
    std::vector<std::size_t> m_segmentEnds; // in the device's bytes: unplug or baud rate change
    std::vector<std::size_t> m_boundaries;  // positions where the driver's sample is checked

    std::size_t m_event = 0;
    std::chrono::microseconds m_now{0};
    std::uint32_t m_baud;
    std::unique_ptr<PtyPort> m_port;
    std::unique_ptr<HostEnd> m_hostEnd;
    std::size_t m_heard = 0;   // the device's bytes that are due
    std::size_t m_written = 0; // the device's bytes that are written to the line
    std::size_t m_said = 0;    // the host's bytes that are due
    std::size_t m_nextBoundary = 0;
    std::size_t m_nextPacket = 0;
    std::size_t m_nextCall = 0;
    std::size_t m_callEnd = 0; // in the host's bytes
};
