#pragma once

#include <atomic>
#include <cstdint>

#include <QObject>

class imu;

// Writes to the debug stream once a second: the counts of the driver, the number of samples that
// have reached the GUI thread, and the number that wait for it. Developers use it to find where
// samples get lost. It exists only if the logging category "vornix.statistics" is enabled, for
// example with QT_LOGGING_RULES=vornix.statistics=true. GUI thread.
class Statistics : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Statistics)

public:
    static bool isEnabled();

    // Construct it after all other receivers of the driver's samples: these have then processed
    // every sample that is counted here.
    Statistics(imu &driver, QObject *parent);

private:
    void print() const;

    const imu &m_driver;
    std::atomic<std::uint64_t> m_posted{0}; // increased by the reader thread
    std::uint64_t m_delivered = 0;
};
