// All blocks 1000 times a second, through the shown window. Every sample sent on the line arrives
// in the driver, in the GUI thread and in the plot. VORNIX_FULL_RATE_SECONDS makes the run longer
// than the default of the test suite.

#include <cmath>
#include <mutex>
#include <vector>

#include <QElapsedTimer>
#include <QFile>
#include <QGraphicsPathItem>
#include <QGraphicsScene>
#include <QLabel>

#include "app/application.h"
#include "app/main_window.h"
#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"
#include "views/attitude.h"
#include "views/rpy_plotter.h"

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned int kBaud = 1'000'000;
constexpr int kHistory = 600;

sim::DeviceOptions everythingAtOnce()
{
    sim::DeviceOptions options;
    options.settings.baud = kBaud;
    options.settings.rateHz = 1000;
    options.settings.outputs = 0x007F;
    return options;
}

int watchSeconds()
{
    bool given = false;
    const int seconds = qEnvironmentVariableIntValue("VORNIX_FULL_RATE_SECONDS", &given);
    return given ? seconds : 5;
}

qint64 residentKib()
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.simplified().split(' ').at(1).toLongLong();
    }
    return 0;
}

} // namespace

class TestFullRate : public QObject
{
    Q_OBJECT

    sim::ImuSimulatorServer m_device{everythingAtOnce()};
    MainWindow *m_window = nullptr;
    imu *m_driver = nullptr;

    std::mutex m_mutex;
    std::vector<RollPitchYaw> m_decoded; // appended by the reader thread; guarded by m_mutex
    std::uint64_t m_delivered = 0;       // samples delivered to the GUI thread

    std::uint64_t decodedCount()
    {
        const std::lock_guard lock(m_mutex);
        return m_decoded.size();
    }

    // If the machine starves the reader until the port's queue is full, a packet is cut off, and
    // the packet after it can be lost with it.
    bool isAllDecoded()
    {
        const sim::LineCounters line = m_device.counters();
        const std::uint64_t decoded = decodedCount();
        return decoded <= line.sent && decoded + line.overrun >= line.sent;
    }

    void silence(bool silent)
    {
        m_device.change([silent](sim::ImuSimulator &device) { device.faults().silent = silent; });
    }

    // Drags the pose with the mouse during the whole time.
    void watch(int milliseconds)
    {
        auto *pose = m_window->findChild<QWidget *>(u"PoseWidget"_s);
        QElapsedTimer elapsed;
        elapsed.start();
        QTest::mousePress(pose, Qt::LeftButton, {}, {100, 100});
        for (int step = 0; elapsed.elapsed() < milliseconds; ++step) {
            QTest::mouseMove(pose, {100 + step % 50, 100});
            QTest::qWait(50);
        }
        QTest::mouseRelease(pose, Qt::LeftButton, {}, {100, 100});
    }

private slots:
    void initTestCase()
    {
        m_window = new MainWindow;
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window, kWaitLimitMs));
        m_driver = m_window->findChild<imu *>();
        connect(
            m_driver, &imu::quaternionUpdated, this,
            [this](float x, float y, float z, float w) {
                const std::lock_guard lock(m_mutex);
                m_decoded.push_back(rollPitchYaw(x, y, z, w));
            },
            Qt::DirectConnection);
        connect(m_driver, &imu::quaternionUpdated, this, [this] { ++m_delivered; });
        m_driver->connect(m_device.path(), kBaud, 8, 0, 1);
    }

    void nothingIsLost()
    {
        const int milliseconds = watchSeconds() * 1000;
        watch(milliseconds / 2);
        const QString rate = m_window->findChild<QLabel *>(u"label_datarate"_s)->text();
        silence(true); // memory is compared while no sample is waiting to be shown
        QTRY_COMPARE(m_delivered, decodedCount());
        const qint64 residentBefore = residentKib();
        silence(false);
        watch(milliseconds / 2);
        QTRY_VERIFY(decodedCount() > kHistory);

        silence(true);
        QTRY_VERIFY(isAllDecoded());
        m_driver->disconnect(); // a last packet may still be on its way; after this none arrives
        QTRY_COMPARE(m_delivered, decodedCount());
        const qint64 residentAfter = residentKib();

        const sim::LineCounters line = m_device.counters();
        qInfo("%llu packets carried, %llu skipped, %llu overrun; \"%s\"; %lld to %lld KiB resident",
              static_cast<unsigned long long>(line.sent),
              static_cast<unsigned long long>(line.skipped),
              static_cast<unsigned long long>(line.overrun), qPrintable(rate),
              static_cast<long long>(residentBefore), static_cast<long long>(residentAfter));
        QVERIFY(residentAfter - residentBefore < 16 * 1024);
    }

    // The curves end with the last samples, all of them and in order. Unwrapping may have added
    // whole turns.
    void thePlotShowsTheLastOfThem()
    {
        QList<QGraphicsPathItem *> curves;
        const auto *plotter = m_window->findChild<RpyPlotter *>();
        const QList<QGraphicsItem *> items = plotter->scene()->items(Qt::AscendingOrder);
        for (QGraphicsItem *item : items) {
            auto *path = qgraphicsitem_cast<QGraphicsPathItem *>(item);
            if (path && path->path().elementCount() == kHistory && path->pen().widthF() == 2.0)
                curves.append(path);
        }
        QCOMPARE(curves.size(), 3);

        const std::lock_guard lock(m_mutex);
        QVERIFY(m_decoded.size() >= kHistory);
        for (int i = 0; i < kHistory; ++i) {
            const RollPitchYaw &sample =
                m_decoded[m_decoded.size() - kHistory + static_cast<std::size_t>(i)];
            const float angles[] = {sample.rollDeg, sample.pitchDeg, sample.yawDeg};
            for (int curve = 0; curve < 3; ++curve) {
                const double shown = curves[curve]->path().elementAt(i).y;
                const double apart =
                    std::remainder(shown - static_cast<double>(angles[curve]), 360.0);
                QVERIFY2(std::abs(apart) < 1e-3, qPrintable(u"%1 %2"_s.arg(i).arg(apart)));
            }
        }
    }
};

VORNIX_TEST_MAIN(TestFullRate, Application)
#include "test_full_rate.moc"
