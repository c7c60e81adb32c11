#include <QTest>

#include "session/baud_rate_search.h"
#include "session/device.h"
#include "session/error.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fixtures/wait_limit.h"

using namespace std::chrono_literals;
using session::Device;
using session::Error;
using Clock = std::chrono::steady_clock;

namespace {

constexpr unsigned kBaud = 115200;
// For a device that answers: enough for a busy machine.
constexpr session::RetryPolicy kLong{.perAttempt = 20s, .attempts = 4};
// For one that does not.
constexpr session::RetryPolicy kShort{.perAttempt = 20ms, .attempts = 3};

sim::DeviceOptions withFault(sim::Faults faults)
{
    sim::DeviceOptions options;
    options.faults = std::move(faults);
    return options;
}

Clock::time_point limit()
{
    return Clock::now() + kWaitLimit;
}

} // namespace

class TestDevice : public QObject
{
    Q_OBJECT

private slots:
    void reportsErrorsOfThePort();
    void failsWhenClosed();
    void readsSettings();
    void deliversSamples();
    void changesEverySetting();
    void repeatsUntilTheAttemptsAreUsedUp();
    void noticesARefusal_data();
    void noticesARefusal();
    void changesTheBaudRate_data();
    void changesTheBaudRate();
    void keepsTheBaudRateIfRefused();
    void noticesALostPort();
    void canBeStopped();
    void refusesARequestInACallback();
    void servesSeveralDevices();
    void findsTheBaudRate_data();
    void findsTheBaudRate();
    void findsNothing();
    void sleepsWhileNothingArrives();

private:
    boost::asio::io_context m_context;
};

void TestDevice::reportsErrorsOfThePort()
{
    Device device(m_context);
    QVERIFY(device.open("/dev/does-not-exist", kBaud) == std::errc::no_such_file_or_directory);
    QVERIFY(!device.isOpen());
    QVERIFY(device.open("/dev/null", kBaud) == std::errc::inappropriate_io_control_operation);
    const sim::ImuSimulatorServer server;
    QVERIFY(device.open(server.path(), 12345) == std::errc::invalid_argument);
    QVERIFY(!device.isOpen());
}

void TestDevice::failsWhenClosed()
{
    Device device(m_context);
    QVERIFY(device.readSettings().error() == Error::NotOpen);
    QVERIFY(device.save() == Error::NotOpen);
    QVERIFY(!device.close());
}

void TestDevice::readsSettings()
{
    sim::DeviceOptions options;
    options.settings.rateHz = 50;
    options.settings.outputs = 0x0024;
    options.serialNumber = 0xBEE;
    const sim::ImuSimulatorServer server(options);
    Device device(m_context);
    device.setRetryPolicy(kLong);
    QVERIFY(!device.open(server.path(), kBaud));
    const auto settings = device.readSettings();
    QVERIFY(settings);
    QCOMPARE(*settings, (session::Settings{.baud = kBaud,
                                           .rateHz = 50,
                                           .outputs = 0x0024,
                                           .firmwareVersion = 0x0203,
                                           .hardwareVersion = 0x0100,
                                           .serialNumber = 0xBEE}));
    QCOMPARE(*device.knownSettings(), *settings);
}

void TestDevice::deliversSamples()
{
    const sim::ImuSimulatorServer server;
    Device device(m_context);
    device.setRetryPolicy(kLong);
    QVERIFY(!device.open(server.path(), kBaud));
    QVERIFY(device.readSettings());
    std::vector<session::Sample> samples;
    device.onSample([&](const session::Sample &sample) { samples.push_back(sample); });
    QVERIFY(!device.runUntil([&] { return samples.size() >= 20; }, limit()));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        QCOMPARE(samples[i].serialNumber, 0x00C0FFEEU);
        QCOMPARE(samples[i].blocks & 0x7F, 0x7F);
        QVERIFY(i == 0 || samples[i].time.monotonic >= samples[i - 1].time.monotonic);
    }
    QCOMPARE(device.statistics().damaged, 0U);
}

void TestDevice::changesEverySetting()
{
    const sim::ImuSimulatorServer server;
    Device device(m_context);
    device.setRetryPolicy(kLong);
    QVERIFY(!device.open(server.path(), kBaud));
    session::MagneticCalibration calibration;
    calibration.bias = {1.5F, -2, 3};
    calibration.matrix = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    QVERIFY(!device.setDataRate(50));
    QVERIFY(!device.setOutputs(0x0144));
    QVERIFY(!device.setZeroThreshold(0.5F));
    QVERIFY(!device.setMagneticCalibration(calibration));
    QVERIFY(!device.save());
    const sim::DeviceSettings stored =
        server.inspect([](const sim::ImuSimulator &simulator) { return simulator.memory().flash; });
    QCOMPARE(stored.rateHz, std::uint16_t(50));
    QCOMPARE(stored.outputs, std::uint16_t(0x0144));
    QCOMPARE(stored.zeroThreshold, 0.5F);
    QCOMPARE(stored.magnetic.bias, calibration.bias);
    QCOMPARE(stored.magnetic.matrix, calibration.matrix);
    QVERIFY(!device.factoryReset());
    QCOMPARE(server.inspect([](const auto &simulator) { return simulator.memory().flash; }),
             sim::DeviceSettings{});
}

void TestDevice::repeatsUntilTheAttemptsAreUsedUp()
{
    sim::Faults faults;
    faults.silent = true;
    const sim::ImuSimulatorServer server(withFault(faults));
    Device device(m_context);
    QVERIFY(!device.open(server.path(), kBaud));
    device.setRetryPolicy(kShort);
    QVERIFY(device.setDataRate(50) == Error::NoAnswer);
    QTRY_COMPARE(server.receivedCommands().size(), std::size_t(3));
}

void TestDevice::noticesARefusal_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("rate") << 8;
    QTest::newRow("outputs") << 9;
    QTest::newRow("save") << 11;
    QTest::newRow("factory reset") << 10;
    QTest::newRow("calibration") << 15;
}

void TestDevice::noticesARefusal()
{
    QFETCH(const int, code);
    sim::Faults faults;
    faults.refuse = {static_cast<unsigned char>(code)};
    const sim::ImuSimulatorServer server(withFault(faults));
    Device device(m_context);
    device.setRetryPolicy(kLong);
    QVERIFY(!device.open(server.path(), kBaud));
    const std::map<int, std::function<std::error_code()>> requests{
        {8, [&] { return device.setDataRate(50); }},
        {9, [&] { return device.setOutputs(1); }},
        {11, [&] { return device.save(); }},
        {10, [&] { return device.factoryReset(); }},
        {15, [&] { return device.setMagneticCalibration({}); }}};
    QVERIFY(requests.at(code)() == Error::Refused);
}

void TestDevice::changesTheBaudRate_data()
{
    QTest::addColumn<sim::Faults>("faults");
    QTest::newRow("with a reply") << sim::Faults{};
    sim::Faults faults;
    faults.noReply = {7};
    QTest::newRow("without a reply") << faults;
    // As the late reply to an earlier request for the settings has it: 115200.
    faults = {};
    faults.replyPayload[7] = {0x07, 0x00, 0xC2, 0x01, 0x00};
    QTest::newRow("with the old baud rate as reply") << faults;
}

void TestDevice::changesTheBaudRate()
{
    QFETCH(const sim::Faults, faults);
    const sim::ImuSimulatorServer server(withFault(faults));
    Device device(m_context);
    QVERIFY(!device.open(server.path(), kBaud));
    QVERIFY(!device.setBaudRate(921600));
    QCOMPARE(device.baud(), 921600U);
    QCOMPARE(device.knownSettings()->baud, 921600U);
}

void TestDevice::keepsTheBaudRateIfRefused()
{
    sim::Faults faults;
    faults.refuse = {7};
    const sim::ImuSimulatorServer server(withFault(faults));
    Device device(m_context);
    device.setRetryPolicy(kLong);
    QVERIFY(!device.open(server.path(), kBaud));
    QVERIFY(device.setBaudRate(921600) == Error::Refused);
    QCOMPARE(device.baud(), kBaud);
    QVERIFY(device.readSettings());
}

void TestDevice::noticesALostPort()
{
    sim::ImuSimulatorServer server;
    Device device(m_context);
    QVERIFY(!device.open(server.path(), kBaud));
    std::vector<std::error_code> losses;
    device.onLost([&](std::error_code error) { losses.push_back(error); });
    server.unplug();
    QVERIFY(device.runUntil([] { return false; }, limit()) == Error::LinkLost);
    QCOMPARE(losses.size(), std::size_t(1));
    QVERIFY(losses.front() == Error::LinkLost);
    QVERIFY(!device.isOpen());
    QVERIFY(device.readSettings().error() == Error::LinkLost);
    server.plugIn();
    device.setRetryPolicy(kLong);
    QVERIFY(!device.open(server.path(), kBaud));
    QVERIFY(device.readSettings());
}

void TestDevice::canBeStopped()
{
    const sim::ImuSimulatorServer server;
    Device device(m_context);
    QVERIFY(!device.open(server.path(), kBaud));
    device.onSample([&](const session::Sample &) { m_context.stop(); });
    QVERIFY(device.runUntil([] { return false; }, limit()) == Error::Stopped);
    device.onSample({});
    device.setRetryPolicy(kLong);
    QVERIFY(device.readSettings());
}

void TestDevice::refusesARequestInACallback()
{
    const sim::ImuSimulatorServer server;
    Device device(m_context);
    QVERIFY(!device.open(server.path(), kBaud));
    std::vector<std::error_code> errors;
    device.onSample([&](const session::Sample &) {
        errors = {device.readSettings().error(), device.open(device.path(), kBaud)};
    });
    QVERIFY(!device.runUntil([&] { return !errors.empty(); }, limit()));
    QCOMPARE(errors, (std::vector<std::error_code>(
                         2, make_error_code(std::errc::resource_deadlock_would_occur))));
}

void TestDevice::servesSeveralDevices()
{
    std::array<sim::ImuSimulatorServer, 3> servers;
    std::array<std::unique_ptr<Device>, 3> devices;
    std::array<int, 3> counts{};
    for (std::size_t i = 0; i < servers.size(); ++i) {
        devices[i] = std::make_unique<Device>(m_context);
        devices[i]->onSample([&count = counts[i]](const session::Sample &) { ++count; });
        QVERIFY(!devices[i]->open(servers[i].path(), kBaud));
    }
    QVERIFY(!devices[0]->runUntil(
        [&] { return std::ranges::all_of(counts, [](int count) { return count >= 10; }); },
        limit()));
}

void TestDevice::findsTheBaudRate_data()
{
    QTest::addColumn<unsigned>("baud");
    QTest::addColumn<std::uint16_t>("outputs");
    QTest::newRow("factory setting") << 115200U << std::uint16_t(0x00FF);
    QTest::newRow("1000000 without quaternions") << 1000000U << std::uint16_t(0x0020);
    QTest::newRow("921600, streams nothing") << 921600U << std::uint16_t(0);
}

void TestDevice::findsTheBaudRate()
{
    QFETCH(const unsigned, baud);
    QFETCH(const std::uint16_t, outputs);
    sim::DeviceOptions options;
    options.settings.baud = baud;
    options.settings.outputs = outputs;
    const sim::ImuSimulatorServer server(options);
    Device device(m_context);
    const std::array rates{57600U, baud};
    std::vector<unsigned> tried;
    session::BaudRateSearch search{.rates = rates, .perRate = 3s};
    search.onTrial = [&](unsigned rate) { tried.push_back(rate); };
    QVERIFY(!session::findBaudRate(device, server.path(), search));
    QCOMPARE(device.baud(), baud);
    QVERIFY(device.isOpen());
    QCOMPARE(tried, (std::vector<unsigned>{57600, baud}));
}

void TestDevice::findsNothing()
{
    sim::Faults faults;
    faults.silent = true;
    const sim::ImuSimulatorServer server(withFault(faults));
    Device device(m_context);
    int trials = 0;
    const auto error = session::findBaudRate(
        device, server.path(), {.perRate = 6ms, .onTrial = [&](unsigned) { ++trials; }});
    QVERIFY(error == Error::NotFound);
    QCOMPARE(trials, int(session::searchedBaudRates().size()));
    QVERIFY(!device.isOpen());
    QVERIFY(session::findBaudRate(device, "/dev/does-not-exist") ==
            std::errc::no_such_file_or_directory);
}

// The io_context runs no handler while the line is silent.
void TestDevice::sleepsWhileNothingArrives()
{
    sim::DeviceOptions options;
    options.settings.outputs = 0;
    const sim::ImuSimulatorServer server(options);
    boost::asio::io_context context; // without cancelled reads of other tests
    Device device(context);
    QVERIFY(!device.open(server.path(), kBaud));
    int wakings = 0;
    const auto count = [&] {
        ++wakings;
        return false;
    };
    QVERIFY(device.runUntil(count, Clock::now() + 300ms) == std::errc::timed_out);
    QCOMPARE(wakings, 1);
}

QTEST_GUILESS_MAIN(TestDevice)
#include "test_device.moc"
