#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <QtGlobal>

#include "app/trial_sample_flag.h"

class imu;

// Highest baud rate first: most devices use it and are found at once.
inline constexpr std::array kBaudCandidates{921600, 460800, 230400, 115200, 57600};

// Finds the baud rate at which a device streams orientation data, by trying the candidates in turn.
//
// Blocks its thread with sleeps and calls `runPendingEvents` between them. run() does not catch
// errors of the driver; the port then stays as the driver left it. Not thread-safe.
class BaudSearch
{
    Q_DISABLE_COPY_MOVE(BaudSearch)

public:
    using Sleeper = std::function<void(std::chrono::milliseconds)>;

    struct Pace
    {
        int polls = 40;
        std::chrono::milliseconds poll{50};
        std::chrono::milliseconds pauseAfterRejection{200};
    };

    // `sampleArrived` is set by the thread that takes quaternions from `driver`; both are borrowed.
    BaudSearch(imu &driver, TrialSampleFlag &sampleArrived, std::function<void()> runPendingEvents,
               Pace pace);

    // Calls `announce` before each candidate. Leaves the port open at the baud rate returned, or
    // closed if it returns none. Call it once per search.
    std::optional<int> run(const std::string &path, const std::function<void(int baud)> &announce);

    // Call it from an event that runPendingEvents() processes. run() then opens the port no more,
    // closes it and returns no baud rate.
    void cancel() { m_cancelled = true; }
    bool isCancelled() const { return m_cancelled; }

    // Replaces every sleep, so that tests are fast. Call it before run().
    void setSleeper(Sleeper sleeper);

private:
    bool streamsAt(const std::string &path, int baud);
    bool sampleArrives();

    imu &m_driver;
    TrialSampleFlag &m_sampleArrived;
    std::function<void()> m_runPendingEvents;
    Pace m_pace;
    Sleeper m_sleep;
    bool m_cancelled = false;
};
