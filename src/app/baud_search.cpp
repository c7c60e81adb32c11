#include "app/baud_search.h"

#include <thread>
#include <utility>

#include "driver/imu.h"

BaudSearch::BaudSearch(imu &driver, TrialSampleFlag &sampleArrived,
                       std::function<void()> runPendingEvents, Pace pace)
    : m_driver(driver)
    , m_sampleArrived(sampleArrived)
    , m_runPendingEvents(std::move(runPendingEvents))
    , m_pace(pace)
    , m_sleep([](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); })
{
}

void BaudSearch::setSleeper(Sleeper sleeper)
{
    m_sleep = std::move(sleeper);
}

std::optional<int> BaudSearch::run(const std::string &path,
                                   const std::function<void(int baud)> &announce)
{
    for (const int baud : kBaudCandidates) {
        announce(baud);
        m_runPendingEvents();
        if (!m_cancelled && streamsAt(path, baud))
            return baud;
        if (m_cancelled)
            break;
    }
    return std::nullopt;
}

bool BaudSearch::streamsAt(const std::string &path, int baud)
{
    if (!m_driver.connect(path, baud, 8, 0, 1))
        return false;

    // Discards the last sample in the driver, which may come from an earlier connection. The trial
    // begins after that, so only later samples count.
    m_driver.getQuaternion();
    m_sampleArrived.clear();
    if (sampleArrives())
        return true;

    m_driver.disconnect();
    if (!m_cancelled)
        m_sleep(m_pace.pauseAfterRejection);
    return false;
}

bool BaudSearch::sampleArrives()
{
    for (int poll = 0; poll < m_pace.polls; ++poll) {
        m_sleep(m_pace.poll);
        m_runPendingEvents();
        if (m_cancelled)
            return false;
        if (m_sampleArrived.isSet())
            return true;
    }
    return false;
}
