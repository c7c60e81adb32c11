#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <set>

#include <sys/syscall.h>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <boost/thread/exceptions.hpp>

#include "driver/imu.h"
#include "tests/fixtures/bytes.h"
#include "tests/fixtures/pty_port.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

namespace {

const QByteArray kQuaternion = bytes::quaternionPacket(0, 0, 0, 1);

std::set<pid_t> threadIds()
{
    std::set<pid_t> ids;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/task"))
        ids.insert(std::stoi(entry.path().filename().string()));
    return ids;
}

// The threads that are not in `before`, oldest first. The number of all threads proves nothing: an
// ended thread may still be listed for a moment.
std::vector<pid_t> newThreads(const std::set<pid_t> &before)
{
    std::vector<pid_t> started;
    std::ranges::set_difference(threadIds(), before, std::back_inserter(started));
    return started;
}

imu *spinningDriver = nullptr;
std::atomic<int> spinOutcome{0};
std::string spinError;

// Runs on the loop thread, as a signal handler during its sleep.
void spinThere(int)
{
    try {
        spinningDriver->spin();
        spinOutcome = 1;
    } catch (const boost::thread_resource_error &error) {
        spinError = error.what();
        spinOutcome = 2;
    }
}

} // namespace

// The threads that start(), stop() and spin() start and end.
class TestImuThreads : public QObject
{
    Q_OBJECT

private slots:
    void startingAgainChangesNothing();
    void stopEndsOnlyTheLoopThread();
    void spinFromTheLoopThreadThrows();
};

void TestImuThreads::startingAgainChangesNothing()
{
    const auto driver = boost::make_shared<imu>(nullptr);
    const auto before = threadIds().size();
    driver->start();
    driver->start();
    // The loop thread starts the reader thread; a second loop thread would start a second reader.
    PtyPort port;
    QVERIFY(driver->connect(port.path(), 115200, 8, 0, 1));
    QVERIFY(port.write(kQuaternion));
    QTRY_COMPARE(driver->statistics().samples, std::uint64_t(1));
    QTRY_COMPARE(threadIds().size(), before + 2);

    driver->stop();
    driver->spin();
    driver->start(); // no effect after stop() either
    QTRY_COMPARE(threadIds().size(), before + 1);
    QVERIFY(port.write(kQuaternion.repeated(10)));
    QTRY_COMPARE(driver->statistics().samples, std::uint64_t(11));

    // Without a connection the reader thread would loop for the rest of the program.
    static PtyPort resting;
    driver->disconnect();
    driver->connect(resting.path(), 115200, 8, 0, 1);
}

void TestImuThreads::stopEndsOnlyTheLoopThread()
{
    const auto driver = boost::make_shared<imu>(nullptr);
    const auto before = threadIds();
    driver->start();
    QTRY_COMPARE(newThreads(before).size(), std::size_t(2));
    driver->stop();
    driver->spin(); // returns only after the loop thread has ended
    QTRY_COMPARE(newThreads(before).size(), std::size_t(1));

    PtyPort port;
    QVERIFY(driver->connect(port.path(), 115200, 8, 0, 1));
    int updates = 0; // counted in this thread, queued from the reader thread
    QObject::connect(driver.get(), &imu::quaternionUpdated, this, [&updates] { ++updates; });
    QVERIFY(port.write(kQuaternion));
    QTRY_COMPARE(updates, 1);
    QObject::disconnect(driver.get(), nullptr, this, nullptr);
    QCOMPARE(driver->getQuaternion(), (std::vector<float>{0, 0, 0, 1}));

    // Without a connection the reader thread would loop for the rest of the program.
    static PtyPort resting;
    driver->disconnect();
    driver->connect(resting.path(), 115200, 8, 0, 1);
}

void TestImuThreads::spinFromTheLoopThreadThrows()
{
#ifdef __SANITIZE_THREAD__
    QSKIP("the test throws inside a signal handler, which ThreadSanitizer rightly calls unsafe");
#endif
    const auto before = threadIds();
    const auto driver = boost::make_shared<imu>(nullptr);
    driver->start();
    QTRY_COMPARE(newThreads(before).size(), std::size_t(2));
    const std::vector<pid_t> started = newThreads(before);

    // The loop thread starts the reader thread, so it is the older one.
    spinningDriver = driver.get();
    std::signal(SIGUSR1, spinThere);
    ::syscall(SYS_tgkill, ::getpid(), started.front(), SIGUSR1);
    QTRY_COMPARE(spinOutcome.load(), 2);
    std::signal(SIGUSR1, SIG_DFL);
    QVERIFY2(spinError.starts_with("boost thread: trying joining itself"), spinError.c_str());

    static PtyPort resting;
    driver->connect(resting.path(), 115200, 8, 0, 1);
}

VORNIX_TEST_MAIN(TestImuThreads, QCoreApplication)
#include "test_imu_threads.moc"
