#pragma once

#include <atomic>
#include <cstdint>

#include <QObject>

class imu;

// Tells once a second on the debug stream what the driver has met on its lines, and how many of its
// samples have reached the GUI thread and how many wait for it: for finding out where samples get
// lost. Of use to developers only, so it exists only if the logging category "vornix.statistics"
// is switched on, as with QT_LOGGING_RULES=vornix.statistics=true. GUI thread.
class Statistics : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Statistics)

public:
    static bool isWanted();

    // To be constructed after everything else that receives the driver's samples: a sample that is
    // counted here has been dealt with there.
    Statistics(imu &driver, QObject *parent);

private:
    void tell() const;

    const imu &m_driver;
    std::atomic<std::uint64_t> m_posted{0}; // by the driver's reader
    std::uint64_t m_delivered = 0;
};
