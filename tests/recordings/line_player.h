#pragma once

#include "driver/ImuDriver.h"
#include "sim/Recording.h"
#include "tests/recordings/expectation.h"
#include "tests/support/pty_port.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// "name v v v", each value with the nine digits that tell every float.
std::string blockText(const std::string &name, const float *values, std::size_t count);

// Plays a recorded unit to the driver, whose own reader takes the bytes from a pty, and compares
// what the driver has after every packet with what it should have.
//
// Time is the recording's: it passes while an operation of the driver sleeps, so slept() has to be
// what the driver sleeps with. Where the recorded host spoke, the driver does, by the operation
// that says the same, and its bytes and its result are compared too.
class LinePlayer
{
public:
    // What differs. It leaves a driver's operation that would never return.
    struct Mismatch : std::runtime_error
    {
        using runtime_error::runtime_error;
    };

    // The driver is started and not connected; it is left disconnected.
    LinePlayer(imu &driver, sim::Recording recording, Expectation expectation);
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
    std::string perform(const std::string &request);
    void compareHostBytes(std::size_t begin, std::size_t end);

    imu &m_driver;
    const sim::Recording m_recording;
    const Expectation m_expectation;

    // Of the whole recording.
    std::vector<unsigned char> m_unitBytes;
    std::vector<unsigned char> m_hostBytes;
    std::vector<std::size_t> m_segmentEnds; // of the unit's bytes: the line begins anew
    std::vector<std::size_t> m_boundaries;  // where to look what the driver has

    std::size_t m_event = 0;
    std::chrono::microseconds m_now{0};
    std::uint32_t m_baud;
    std::unique_ptr<PtyPort> m_port;
    std::unique_ptr<HostEnd> m_hostEnd;
    std::size_t m_heard = 0;   // of the unit's bytes: their turn has come
    std::size_t m_written = 0; // of the unit's bytes
    std::size_t m_said = 0;    // of the host's bytes: their turn has come
    std::size_t m_nextBoundary = 0;
    std::size_t m_nextPacket = 0;
    std::size_t m_nextCall = 0;
    std::size_t m_callEnd = 0; // of the host's bytes
};
