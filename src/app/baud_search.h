#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <QtGlobal>

#include "app/trial_flag.h"

class imu;

// From the fastest down, so that the usual device is found at once.
inline constexpr std::array kBaudCandidates{921600, 460800, 230400, 115200, 57600};

// Finds the rate at which a device streams orientation data, by trying the candidates in turn.
//
// Blocks its thread with sleeps, between which it calls `runPendingEvents`. Errors of the driver
// leave run() as they are; the port then is as the driver left it. One thread.
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
    BaudSearch(imu &driver, TrialFlag &sampleArrived, std::function<void()> runPendingEvents,
               Pace pace);

    // Calls `announce` before each candidate. Leaves the port open at the rate returned, closed if
    // there is none. Once per search.
    std::optional<int> run(const std::string &path, const std::function<void(int baud)> &announce);

    // To be called by what runPendingEvents() runs: run() then opens nothing more, closes the port
    // and returns without a rate.
    void cancel() { m_cancelled = true; }
    bool isCancelled() const { return m_cancelled; }

    // Replaces every sleep, so that a test need not take its time. Before run().
    void setSleeper(Sleeper sleeper);

private:
    bool streamsAt(const std::string &path, int baud);
    bool sampleArrives();

    imu &m_driver;
    TrialFlag &m_sampleArrived;
    std::function<void()> m_runPendingEvents;
    Pace m_pace;
    Sleeper m_sleep;
    bool m_cancelled = false;
};
