// A session and the driver of the window put the same bytes on the line and leave the device in the
// same state.

#include <boost/make_shared.hpp>

#include <QTest>

#include "driver/imu.h"
#include "session/device.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fixtures/test_main.h"

using namespace std::chrono_literals;
using Commands = std::vector<std::vector<unsigned char>>;

namespace {

constexpr int kBaud = 115200;

const std::array<float, 3> kBias{0.25F, -3, 12};
const std::array<float, 9> kMatrix{1, 0.5F, 0.25F, 2, 4, 8, -1, -2, -4};

struct Trace
{
    Commands commands;
    sim::DeviceMemory memory;
};

// Either side repeats a command that a busy machine answers late.
Trace traceOf(const sim::ImuSimulatorServer &server)
{
    Trace trace;
    trace.commands = server.receivedCommands();
    trace.commands.erase(std::unique(trace.commands.begin(), trace.commands.end()),
                         trace.commands.end());
    trace.memory = server.inspect([](const sim::ImuSimulator &device) { return device.memory(); });
    return trace;
}

Trace byTheDriver()
{
    const sim::ImuSimulatorServer server;
    const auto driver = boost::make_shared<imu>(nullptr);
    driver->start();
    driver->connect(server.path(), kBaud, 8, 0, 1);
    driver->loadSettings();
    driver->setZeroThreshold(0.02F);
    driver->setDataRate(200);
    driver->setBaudRate(921600);
    driver->setOutputs(0x0047);
    driver->saveSettings();
    auto bias = kBias;
    auto matrix = kMatrix;
    driver->setMagneticFieldCalibrationData(bias.data(), matrix.data());
    driver->saveSettings();
    driver->revertToFactorySettings();
    driver->disconnect();
    driver->stop();
    return traceOf(server);
}

Trace byASession()
{
    const sim::ImuSimulatorServer server;
    boost::asio::io_context context;
    session::Device device(context);
    device.setRetryPolicy({.perAttempt = 20s, .attempts = 4});
    device.open(server.path(), kBaud);
    device.readSettings();
    device.setZeroThreshold(0.02F);
    device.setDataRate(200);
    device.setBaudRate(921600);
    device.setOutputs(0x0047);
    device.save();
    device.setMagneticCalibration({kBias, kMatrix});
    device.save();
    device.factoryReset();
    return traceOf(server);
}

} // namespace

class TestSameCommands : public QObject
{
    Q_OBJECT

private slots:
    void areOnTheLine();
};

void TestSameCommands::areOnTheLine()
{
    const Trace driver = byTheDriver();
    const Trace session = byASession();
    QCOMPARE(session.commands.size(), std::size_t(10));
    QCOMPARE(session.commands, driver.commands);
    QCOMPARE(session.memory.active.outputs, std::uint16_t(0x0047));
    QVERIFY(session.memory.active == driver.memory.active);
    QVERIFY(session.memory.flash == driver.memory.flash);
}

VORNIX_TEST_MAIN(TestSameCommands, QCoreApplication)
#include "test_same_commands.moc"
