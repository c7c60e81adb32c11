// The simulated device and the real driver at the two ends of a pty.

#include <algorithm>
#include <array>
#include <thread>

#include <boost/make_shared.hpp>

#include <QCoreApplication>

#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using namespace std::chrono_literals;

class TestImuSimulatorServer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void streamsAndAnswers();
    void changesBaudRate();
    void returnsAfterUnplug();
    void unplugCutsThePower();
    void refusedSaveIsRepeated();
    void savesDespiteSlowFlash();
    void powerLossWhileSavingLosesTheChange();

private:
    // Returns true if a new quaternion has arrived; the getter returns each one once.
    bool streams();

    boost::shared_ptr<imu> m_driver;
};

bool TestImuSimulatorServer::streams()
{
    return QTest::qWaitFor([this] { return !m_driver->getQuaternion().empty(); }, kWaitLimitMs);
}

void TestImuSimulatorServer::initTestCase()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->start();
}

void TestImuSimulatorServer::cleanup()
{
    m_driver->disconnect();
}

void TestImuSimulatorServer::streamsAndAnswers()
{
    sim::ImuSimulatorServer device;
    QVERIFY(m_driver->connect(device.path(), 115200, 8, 0, 1));
    QVERIFY(streams());
    QVERIFY(m_driver->loadSettings());
    QCOMPARE(m_driver->getBaudRate(), 115200);
    QCOMPARE(m_driver->getDataRate(), 100);
    QCOMPARE(m_driver->getOutputs(), 0xFF);
    QVERIFY(m_driver->setDataRate(50));
    QVERIFY(device.counters().sent > 0);
}

void TestImuSimulatorServer::changesBaudRate()
{
    sim::ImuSimulatorServer device;
    QVERIFY(m_driver->connect(device.path(), 115200, 8, 0, 1));
    QVERIFY(m_driver->setBaudRate(921600));
    QCOMPARE(device.inspect([](const auto &d) { return d.lineBaud(); }), 921600U);
    // The number of repetitions depends on the machine.
    auto commands = device.receivedCommands();
    commands.erase(std::unique(commands.begin(), commands.end()), commands.end());
    QCOMPARE(commands.size(), std::size_t(2));
}

void TestImuSimulatorServer::returnsAfterUnplug()
{
    sim::ImuSimulatorServer device;
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

// Before the driver has read the settings it holds the outputs 0, so a device that checks them
// refuses every attempt. It ends only because the device then stops checking.
void TestImuSimulatorServer::refusedSaveIsRepeated()
{
    sim::DeviceOptions options;
    options.checksHostOutputs = true;
    sim::ImuSimulatorServer device(options);
    // A new driver: the other one holds outputs from earlier tests.
    const auto fresh = boost::make_shared<imu>(nullptr);
    fresh->setSleeper(
        [](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration / 10); });
    fresh->start();
    QVERIFY(fresh->connect(device.path(), 115200, 8, 0, 1));
    bool saved = false;
    std::thread saving([&] { saved = fresh->saveSettings(); });
    QTRY_VERIFY_WITH_TIMEOUT(device.counters().savesRefused >= 5, kWaitLimitMs);
    const auto commands = device.receivedCommands();
    device.change([](sim::ImuSimulator &simulator) { simulator.setChecksHostOutputs(false); });
    saving.join();
    QVERIFY(saved);
    // Each attempt is the same command, with the outputs 0.
    const std::vector<unsigned char> command{0x53, 0x43, 0x09, 0x00, 0x0B, 0x00, 0x00, 0x0B, 0x00};
    QVERIFY(commands.size() >= 5);
    QVERIFY(std::all_of(commands.begin(), commands.end(),
                        [&](const auto &each) { return each == command; }));
    // With the settings read, the outputs agree.
    device.change([](sim::ImuSimulator &simulator) { simulator.setChecksHostOutputs(true); });
    QVERIFY(fresh->loadSettings());
    // The device has answered after every repeated save, so no more of them will be refused.
    const std::uint64_t refused = device.counters().savesRefused;
    QVERIFY(fresh->saveSettings());
    QCOMPARE(device.counters().savesRefused, refused);
    fresh->disconnect();
}

// At once, not only when the cable is back: so what the device was saving is lost.
void TestImuSimulatorServer::unplugCutsThePower()
{
    sim::ImuSimulatorServer device;
    sim::DeviceSettings unsaved;
    unsaved.rateHz = 200;
    device.change([&](sim::ImuSimulator &simulator) { simulator.setSettings(unsaved); });
    device.unplug();
    QVERIFY(device.inspect([](const auto &d) { return d.memory().active; }) ==
            sim::DeviceSettings());
}

void TestImuSimulatorServer::savesDespiteSlowFlash()
{
    sim::DeviceOptions options;
    options.flashTime = {400ms, 400ms};
    sim::ImuSimulatorServer device(options);
    QVERIFY(m_driver->connect(device.path(), 115200, 8, 0, 1));
    QVERIFY(m_driver->loadSettings());
    QVERIFY(m_driver->setDataRate(50));
    QVERIFY(m_driver->saveSettings());
    QCOMPARE(device.inspect([](const auto &d) { return d.memory().flash.rateHz; }), 50);
    std::array<float, 3> bias{1, 2, 3};
    std::array<float, 9> matrix{1, 2, 3, 4, 5, 6, 7, 8, 9};
    QVERIFY(m_driver->setMagneticFieldCalibrationData(bias.data(), matrix.data()));
    QVERIFY(m_driver->loadSettings());
}

// The driver repeats the command, and the device saves what it then holds: the earlier settings.
void TestImuSimulatorServer::powerLossWhileSavingLosesTheChange()
{
    sim::DeviceOptions options;
    options.flashTime = {50ms, 50ms};
    options.faults.powerLossesWhileSaving = 1;
    sim::ImuSimulatorServer device(options);
    QVERIFY(m_driver->connect(device.path(), 115200, 8, 0, 1));
    QVERIFY(m_driver->loadSettings());
    QVERIFY(m_driver->setDataRate(50));
    QVERIFY(m_driver->saveSettings());
    const sim::DeviceMemory memory =
        device.inspect([](const sim::ImuSimulator &simulator) { return simulator.memory(); });
    QVERIFY(memory.flash == options.settings);
    QVERIFY(memory.active == options.settings);
}

VORNIX_TEST_MAIN(TestImuSimulatorServer, QCoreApplication)
#include "test_imu_simulator_server.moc"
