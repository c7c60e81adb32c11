#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>

#include <QCoreApplication>
#include <QDeadlineTimer>

#include "app/baud_search.h"
#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using namespace std::chrono_literals;

namespace {

// Long enough for a sample at 500 Hz to arrive; short, because no user waits here.
constexpr BaudSearch::Pace kHasty{400, 1ms, 2ms};
// More polls than a sample needs to arrive, also on a slow machine.
constexpr BaudSearch::Pace kManyPolls{60'000, 1ms, 2ms};
// Polls that really sleep at a wrong baud rate. No sample can arrive there, so the other polls of
// that trial do not sleep.
constexpr int kPollsOfNothing = 100;

sim::DeviceOptions deviceAt(std::uint32_t baud)
{
    sim::DeviceOptions options;
    options.settings.baud = baud;
    options.settings.rateHz = 500;
    options.settings.outputs = protocol::OUT_QUATERNION;
    return options;
}

} // namespace

// Tests the search without a window. A separate thread takes samples, as the window's worker thread
// does. Polls are 1 ms apart instead of 50 ms.
class TestBaudSearch : public QObject
{
    Q_OBJECT

    boost::shared_ptr<imu> m_driver;
    TrialSampleFlag m_sampleArrived;
    std::vector<int> m_tried;

    std::optional<int> search(const std::string &path, BaudSearch::Pace pace = kHasty,
                              const BaudSearch::Sleeper &sleeper = {})
    {
        m_tried.clear();
        BaudSearch baudSearch(
            *m_driver, m_sampleArrived, [] {}, pace);
        if (sleeper)
            baudSearch.setSleeper(sleeper);
        return baudSearch.run(path, [this](int baud) { m_tried.push_back(baud); });
    }

private slots:
    void initTestCase()
    {
        m_driver = boost::make_shared<imu>(nullptr);
        m_driver->start();
        std::thread([this] {
            for (;;) {
                const TrialSampleFlag::Trial trial = m_sampleArrived.current();
                if (!m_driver->getQuaternion().empty())
                    m_sampleArrived.set(trial);
            }
        }).detach();
    }

    void cleanup() { m_driver->disconnect(); }

    void candidates()
    {
        QCOMPARE(std::vector<int>(kBaudCandidates.begin(), kBaudCandidates.end()),
                 (std::vector<int>{921600, 460800, 230400, 115200, 57600}));
    }

    void findsEachRate_data()
    {
        QTest::addColumn<int>("baud");
        for (const int baud : kBaudCandidates)
            QTest::addRow("%d", baud) << baud;
    }

    void findsEachRate()
    {
        QFETCH(int, baud);
        const sim::ImuSimulatorServer device(deviceAt(static_cast<std::uint32_t>(baud)));
        int polls = 0; // at the current baud rate
        std::size_t tried = 0;
        const auto sleeper = [&](std::chrono::milliseconds duration) {
            if (std::exchange(tried, m_tried.size()) != m_tried.size())
                polls = 0;
            if (m_tried.back() == baud || ++polls <= kPollsOfNothing)
                std::this_thread::sleep_for(duration);
        };
        QCOMPARE(search(device.path(), kManyPolls, sleeper).value_or(0), baud);
        QCOMPARE(m_tried.back(), baud);
    }

    void closesThePortWhenNothingIsFound()
    {
        sim::DeviceOptions silent = deviceAt(921600);
        silent.faults.silent = true;
        const sim::ImuSimulatorServer device(silent);
        QVERIFY(!search(device.path(), {3, 1ms, 1ms}));
        QCOMPARE(m_tried.size(), kBaudCandidates.size());
        QTRY_VERIFY(!device.isOpenedByHost());
    }

    // Counts the event runs: one before each trial and one in each poll.
    void runsEventsOncePerRateAndPoll()
    {
        sim::DeviceOptions silent = deviceAt(921600);
        silent.faults.silent = true;
        const sim::ImuSimulatorServer device(silent);
        int eventRuns = 0;
        BaudSearch counting(*m_driver, m_sampleArrived, [&] { ++eventRuns; }, {40, 0ms, 0ms});
        QVERIFY(!counting.run(device.path(), [](int) {}));
        QCOMPARE(eventRuns, 5 * (1 + 40));
    }

    // Forty polls 50 ms apart, then 200 ms before the next baud rate.
    void sleepsBetweenPollsAndAfterARejection()
    {
        sim::DeviceOptions silent = deviceAt(921600);
        silent.faults.silent = true;
        const sim::ImuSimulatorServer device(silent);
        std::vector<std::chrono::milliseconds> slept;
        BaudSearch paced(*m_driver, m_sampleArrived, [] {}, {});
        paced.setSleeper([&](std::chrono::milliseconds duration) { slept.push_back(duration); });
        QVERIFY(!paced.run(device.path(), [](int) {}));
        std::vector<std::chrono::milliseconds> expected;
        for (std::size_t rate = 0; rate < kBaudCandidates.size(); ++rate) {
            expected.insert(expected.end(), 40, 50ms);
            expected.push_back(200ms);
        }
        QVERIFY(slept == expected);
    }

    void cancelEndsTheSearchAtOnce_data()
    {
        QTest::addColumn<int>("eventRun"); // the event run that cancels
        QTest::addColumn<int>("sleeps");   // sleeps before the cancellation
        QTest::addColumn<int>("opened");
        QTest::newRow("before the port is opened") << 1 << 0 << 0;
        QTest::newRow("in the first poll") << 2 << 1 << 1;
        QTest::newRow("in the last poll of a rate") << 41 << 40 << 1;
        QTest::newRow("before the second rate") << 42 << 41 << 1;
        QTest::newRow("in a poll of the second rate") << 45 << 44 << 2;
    }

    // After a cancellation the search neither sleeps nor tries another baud rate nor opens the
    // port, and the port is closed.
    void cancelEndsTheSearchAtOnce()
    {
        QFETCH(int, eventRun);
        sim::DeviceOptions silent = deviceAt(921600);
        silent.faults.silent = true;
        const sim::ImuSimulatorServer device(silent);
        const auto sessionsBefore = m_driver->statistics().sessions;
        int runs = 0;
        int sleeps = 0;
        BaudSearch *running = nullptr;
        BaudSearch cancelled(*m_driver, m_sampleArrived,
                             [&] {
                                 if (++runs == eventRun)
                                     running->cancel();
                             },
                             {});
        running = &cancelled;
        cancelled.setSleeper([&](std::chrono::milliseconds) { ++sleeps; });
        QVERIFY(!cancelled.run(device.path(), [](int) {}));
        QVERIFY(cancelled.isCancelled());
        QCOMPARE(runs, eventRun);
        QTEST(sleeps, "sleeps");
        QTEST(static_cast<int>(m_driver->statistics().sessions - sessionsBefore), "opened");
        QTRY_VERIFY(!device.isOpenedByHost());
    }

    // A search that is cancelled disconnects, even if a sample arrived in the same poll.
    void cancellingWinsOverASample()
    {
        const sim::ImuSimulatorServer device(deviceAt(921600));
        BaudSearch *running = nullptr;
        int runs = 0;
        BaudSearch cancelled(
            *m_driver, m_sampleArrived,
            [&] {
                if (++runs < 2) // the first run comes before the port is opened
                    return;
                QTRY_VERIFY(m_sampleArrived.isSet());
                running->cancel();
            },
            kHasty);
        running = &cancelled;
        QVERIFY(!cancelled.run(device.path(), [](int) {}));
        QTRY_VERIFY(!device.isOpenedByHost());
    }

    void defaultPace()
    {
        const BaudSearch::Pace pace;
        QCOMPARE(pace.polls, 40);
        QCOMPARE(pace.poll, 50ms);
        QCOMPARE(pace.pauseAfterRejection, 200ms);
    }

    void portErrorPropagates()
    {
        QVERIFY_EXCEPTION_THROWN(search("/dev/no-such-port"), boost::system::system_error);
    }

    // Samples of the previous connection can still be in the driver, or on their way when it was
    // closed. They must not end the trial at the first baud rate. Every pass leaves some samples
    // behind.
    void leftoverSamplesDoNotEndATrial()
    {
        std::atomic<bool> stop{false};
        std::vector<std::thread> load;
        for (unsigned i = 0; i < 2 * std::max(1U, std::thread::hardware_concurrency()); ++i)
            load.emplace_back([&stop] {
                while (!stop) {
                }
            });

        const sim::ImuSimulatorServer device(deviceAt(460800));
        // At the wrong baud rate no sample can arrive, so few short polls are enough. At the right
        // one the first poll that finds a sample ends the trial.
        constexpr int kReconnects = 300;
        constexpr int kEnough = 30; // successful connections; only these can leave samples behind
        const QDeadlineTimer deadline(kWaitLimit);
        int found = 0;
        int wrong = 0;
        for (int i = 0; i < kReconnects || (found < kEnough && !deadline.hasExpired()); ++i) {
            const std::optional<int> baud = search(device.path(), {i % 2 ? 5 : 20, 1ms, 0ms});
            wrong += baud && *baud != 460800 ? 1 : 0;
            found += baud == 460800 ? 1 : 0;
            m_driver->disconnect();
        }
        stop = true;
        for (std::thread &thread : load)
            thread.join();
        QCOMPARE(wrong, 0);
        QVERIFY2(found >= kEnough, qPrintable(QString::number(found)));
    }
};

VORNIX_TEST_MAIN(TestBaudSearch, QCoreApplication)
#include "test_baud_search.moc"
