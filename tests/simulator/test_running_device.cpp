// The simulated device and the real driver at the two ends of a pty.

#include "driver/ImuDriver.h"
#include "sim/RunningDevice.h"
#include "tests/support/test_main.h"

#include <algorithm>

#include <boost/make_shared.hpp>

#include <QCoreApplication>

using namespace std::chrono_literals;

class TestRunningDevice : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void streamsAndAnswers();
    void changesBaudRate();
    void returnsAfterUnplug();

private:
    // Returns true if a new quaternion has arrived; the getter returns each one once.
    bool streams();

    boost::shared_ptr<imu> m_driver;
};

bool TestRunningDevice::streams()
{
    return QTest::qWaitFor([this] { return !m_driver->getQuaternion().empty(); }, kPatienceMs);
}

void TestRunningDevice::initTestCase()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->start();
}

void TestRunningDevice::cleanup()
{
    m_driver->disconnect();
}

void TestRunningDevice::streamsAndAnswers()
{
    sim::RunningDevice device;
    QVERIFY(m_driver->connect(device.path(), 115200, 8, 0, 1));
    QVERIFY(streams());
    QVERIFY(m_driver->loadSettings());
    QCOMPARE(m_driver->getBaudRate(), 115200);
    QCOMPARE(m_driver->getDataRate(), 100);
    QCOMPARE(m_driver->getOutputs(), 0xFF);
    QVERIFY(m_driver->setDataRate(50));
    QVERIFY(device.counters().sent > 0);
}

void TestRunningDevice::changesBaudRate()
{
    sim::RunningDevice device;
    QVERIFY(m_driver->connect(device.path(), 115200, 8, 0, 1));
    QVERIFY(m_driver->setBaudRate(921600));
    QCOMPARE(device.inspect([](const auto &d) { return d.lineBaud(); }), 921600u);
    // The number of repetitions depends on the machine.
    auto commands = device.receivedCommands();
    commands.erase(std::unique(commands.begin(), commands.end()), commands.end());
    QCOMPARE(commands.size(), std::size_t(2));
}

void TestRunningDevice::returnsAfterUnplug()
{
    sim::RunningDevice device;
    QVERIFY(m_driver->connect(device.path(), 115200, 8, 0, 1));
    QVERIFY(streams());
    device.unplug();
    m_driver->disconnect();
    m_driver->getQuaternion();
    QVERIFY_EXCEPTION_THROWN(m_driver->connect("/dev/does-not-exist", 115200, 8, 0, 1),
                             boost::system::system_error);
    device.plugIn();
    QVERIFY(m_driver->connect(device.path(), 115200, 8, 0, 1));
    QVERIFY(streams());
}

VORNIX_TEST_MAIN(TestRunningDevice, QCoreApplication)
#include "test_running_device.moc"
