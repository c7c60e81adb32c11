#include "app/statistics.h"

#include <QLoggingCategory>
#include <QTimer>

#include "driver/imu.h"

namespace {

constexpr int kIntervalMs = 1000;

Q_LOGGING_CATEGORY(statisticsCategory, "vornix.statistics", QtWarningMsg)

} // namespace

bool Statistics::isEnabled()
{
    return statisticsCategory().isDebugEnabled();
}

Statistics::Statistics(imu &driver, QObject *parent)
    : QObject(parent)
    , m_driver(driver)
{
    connect(
        &driver, &imu::quaternionUpdated, this, [this] { ++m_posted; }, Qt::DirectConnection);
    connect(&driver, &imu::quaternionUpdated, this, [this] { ++m_delivered; });
    auto *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &Statistics::print);
    timer->start(kIntervalMs);
}

void Statistics::print() const
{
    const LinkStatistics line = m_driver.statistics();
    qCDebug(statisticsCategory).noquote().nospace()
        << "sessions=" << line.sessions << " discarded=" << line.discardedBytes
        << " packets=" << line.packets << " damaged=" << line.damaged << " samples=" << line.samples
        << " delivered=" << m_delivered << " waiting=" << m_posted - m_delivered;
}
