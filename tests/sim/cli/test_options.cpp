// The options of vornix-sim.

#include <CLI/Error.hpp>

#include <QTest>

#include "sim/cli/options.h"

using namespace std::chrono_literals;
using Arguments = std::vector<std::string>;

namespace {

sim::Configuration parsed(const Arguments &arguments)
{
    sim::Options options;
    return options.parse(arguments);
}

// The exit code with which the parser ends the program, 0 for help and version.
int exitCode(const Arguments &arguments)
{
    sim::Options options;
    try {
        options.parse(arguments);
    } catch (const CLI::ParseError &error) {
        return error.get_exit_code();
    }
    return -1;
}

} // namespace

class TestOptions : public QObject
{
    Q_OBJECT

private slots:
    void defaultsAreTheFactorySettings();
    void readsTheDevice();
    void defaultsAreStrict();
    void easyIsKind();
    void readsAdapters_data();
    void readsAdapters();
    void readsStrictness();
    void readsFaults();
    void readsACommand();
    void helpAndVersionEndParsing();
    void readsRecordings();
    void recordingNamesTheDevice();
    void helpNamesEveryOption();
    void codesAreNamesOrNumbers_data();
    void codesAreNamesOrNumbers();
};

void TestOptions::defaultsAreTheFactorySettings()
{
    const sim::Configuration configuration = parsed({});
    QVERIFY(configuration.device.settings == sim::DeviceSettings{});
    QCOMPARE(configuration.device.motion, sim::Motion::Hand);
    QCOMPARE(configuration.calibrationPoints, 120U);
    QVERIFY(configuration.ports.empty());
    QVERIFY(configuration.command.empty());
    QVERIFY(!configuration.statistics);
    QVERIFY(configuration.faults.empty());
}

void TestOptions::defaultsAreStrict()
{
    const sim::Configuration configuration = parsed({});
    const sim::DeviceOptions &device = configuration.device;
    QVERIFY((device.flashTime == sim::TimeRange{50ms, 400ms}));
    QVERIFY((device.baudChangeTime == sim::TimeRange{20ms, 250ms}));
    QCOMPARE(device.clockDriftPpm, 20.0);
    QCOMPARE(device.fallbackBaud, 0U);
    QCOMPARE(device.sensors.rateDrift, 1e-4);
    QVERIFY(!device.checksHostOutputs);
    QVERIFY(!device.staleSamplesDuringFlash);
    const sim::LineOptions &line = configuration.line;
    QCOMPARE(line.adapter.payload, std::size_t(62));
    QVERIFY(line.adapter.latency == 1ms);
    QVERIFY(line.startsMidPacket);
    QCOMPARE(line.receiveQueue, std::size_t(4095));
    QVERIFY(line.outputStallsAt == sim::kNever);
}

void TestOptions::easyIsKind()
{
    const sim::Configuration easy = parsed({"--easy"});
    const sim::DeviceOptions &device = easy.device;
    const sim::DeviceOptions kind;
    QVERIFY(device.flashTime == kind.flashTime);
    QVERIFY(device.baudChangeTime == kind.baudChangeTime);
    QCOMPARE(device.clockDriftPpm, kind.clockDriftPpm);
    QCOMPARE(device.fallbackBaud, kind.fallbackBaud);
    QVERIFY(device.sensors == kind.sensors);
    QCOMPARE(easy.line.adapter.payload, std::size_t(0));
    QVERIFY(!easy.line.startsMidPacket);
    QCOMPARE(easy.line.receiveQueue, std::size_t(0));
    // What is given stays, wherever it stands.
    const sim::Configuration mixed =
        parsed({"--flash-time", "70", "--easy", "--adapter", "cp210x"});
    QVERIFY((mixed.device.flashTime == sim::TimeRange{70ms, 70ms}));
    QCOMPARE(mixed.line.adapter.payload, std::size_t(64));
    QVERIFY(mixed.device.baudChangeTime == sim::TimeRange{});
}

void TestOptions::readsAdapters_data()
{
    QTest::addColumn<Arguments>("arguments");
    QTest::addColumn<std::size_t>("payload");
    QTest::addColumn<sim::Time>("latency");
    const auto row = [](const char *kind, std::size_t payload, sim::Time latency) {
        QTest::newRow(kind) << Arguments{"--adapter", kind} << payload << latency;
    };
    row("ftdi", 62, 1ms);
    row("cp210x", 64, 1ms);
    row("ch340", 32, 1ms);
    row("cdc-acm", 64, 1ms);
    row("none", 0, 0ms);
    QTest::newRow("16 ms") << Arguments{"--latency-timer", "16"} << std::size_t(62)
                           << sim::Time(16ms);
}

void TestOptions::readsAdapters()
{
    QFETCH(const Arguments, arguments);
    QFETCH(const std::size_t, payload);
    QFETCH(const sim::Time, latency);
    const sim::AdapterModel adapter = parsed(arguments).line.adapter;
    QCOMPARE(adapter.payload, payload);
    QVERIFY(adapter.latency == latency);
}

void TestOptions::readsStrictness()
{
    const Arguments arguments{"--stale-samples",
                              "--check-outputs",
                              "--baud-change-time",
                              "5-9",
                              "--clock-drift",
                              "-50",
                              "--gyro-noise",
                              "0.1",
                              "--gyro-bias",
                              "-0.2",
                              "--gyro-drift",
                              "0.3",
                              "--calibration-bytes",
                              "300",
                              "--bit-errors",
                              "1e-5",
                              "--fault",
                              "stalled-output",
                              "--fault",
                              "power-loss-while-saving"};
    const sim::Configuration configuration = parsed(arguments);
    const sim::DeviceOptions &device = configuration.device;
    QVERIFY(device.staleSamplesDuringFlash);
    QVERIFY(device.checksHostOutputs);
    QVERIFY((device.baudChangeTime == sim::TimeRange{5ms, 9ms}));
    QCOMPARE(device.clockDriftPpm, -50.0);
    QVERIFY((device.sensors == sim::SensorOptions{0.1, -0.2, 0.3}));
    QCOMPARE(device.faults.bitErrors, 1e-5);
    QCOMPARE(device.faults.powerLossesWhileSaving, 1);
    QVERIFY(configuration.calibrationBytes == 300U);
    QVERIFY(configuration.line.outputStallsAt == 5s);
    QVERIFY(configuration.line.outputStallTime == 2s);
}

void TestOptions::readsTheDevice()
{
    const Arguments arguments{
        "--baud", "1500000",   "--line-baud", "460800",      "--rate",
        "400",    "--outputs", "0x1FF",       "--motion",    "tumble",
        "--seed", "42",        "--serial",    "3054",        "--calibration-points",
        "7",      "--link",    "/tmp/port",   "--statistics"};
    const sim::Configuration configuration = parsed(arguments);
    const sim::DeviceOptions &device = configuration.device;
    QCOMPARE(device.settings.baud, 1500000U);
    QCOMPARE(device.fallbackBaud, 460800U);
    QCOMPARE(device.settings.rateHz, std::uint16_t(400));
    QCOMPARE(device.settings.outputs, std::uint16_t(0x1FF));
    QCOMPARE(device.motion, sim::Motion::Tumble);
    QCOMPARE(device.seed, std::uint64_t(42));
    QCOMPARE(device.serialNumber, 3054U);
    QCOMPARE(configuration.calibrationPoints, 7U);
    QCOMPARE(configuration.link, std::string("/tmp/port"));
    QVERIFY(configuration.statistics);
}

void TestOptions::readsFaults()
{
    const Arguments arguments{"--silent",
                              "--no-reply",
                              "GET",
                              "--no-reply",
                              "save_settings",
                              "--wrong-echo",
                              "8",
                              "--refuse",
                              "OUTPUTS",
                              "--ignore",
                              "BAUD_RATE",
                              "--ignore",
                              "DATA_RATE:3",
                              "--late-reply",
                              "GET:250",
                              "--reply-shape",
                              "joined",
                              "--slow-baud-change",
                              "1500",
                              "--corrupt",
                              "10",
                              "--noise",
                              "3",
                              "--lose",
                              "0.5",
                              "--unplug-after",
                              "1.5",
                              "--return-after",
                              "2"};
    const sim::Configuration configuration = parsed(arguments);
    const sim::Faults &faults = configuration.device.faults;
    QVERIFY(faults.silent);
    QCOMPARE(faults.noReply, (std::set<unsigned char>{12, 11}));
    QCOMPARE(faults.wrongEcho, (std::set<unsigned char>{8}));
    QCOMPARE(faults.refuse, (std::set<unsigned char>{9}));
    QCOMPARE(faults.ignoreFirst, (std::map<unsigned char, int>{{7, 1}, {8, 3}}));
    QVERIFY(faults.lateReply.at(12) == 250ms);
    QCOMPARE(faults.replyShape, sim::ReplyShape::Joined);
    QVERIFY(faults.baudChangeDelay == 1500ms);
    QCOMPARE(faults.corruptEvery, 10);
    QCOMPARE(faults.noiseBytes, 3);
    QCOMPARE(faults.byteLoss, 0.5);
    QVERIFY(configuration.unplugAfter == 1500ms);
    QVERIFY(configuration.returnAfter == 2000ms);
}

void TestOptions::readsACommand()
{
    const sim::Configuration one = parsed({"--", "vornix", "--help", "--"});
    QCOMPARE(one.command, (Arguments{"vornix", "--help", "--"}));
    QCOMPARE(one.ports, Arguments{"ttyUSB0"});

    const sim::Configuration two =
        parsed({"--port", "ttyUSB1", "--port", "ttyACM3", "--", "vornix"});
    QCOMPARE(two.ports, (Arguments{"ttyUSB1", "ttyACM3"}));
}

void TestOptions::helpAndVersionEndParsing()
{
    QCOMPARE(exitCode({"--seed", "1", "--help"}), 0);
    QCOMPARE(exitCode({"-h"}), 0);
    QCOMPARE(exitCode({"--version"}), 0);
}

void TestOptions::readsRecordings()
{
    QCOMPARE(parsed({"--record", "a.rec", "--rate", "50"}).recordTo, std::string("a.rec"));
    const sim::Configuration replay = parsed({"--replay", "a.rec", "--link", "/tmp/device"});
    QCOMPARE(replay.replayFrom, std::string("a.rec"));
    QVERIFY(replay.replaySpeed == 1.0);
    QVERIFY(parsed({"--replay", "a.rec", "--speed", "2.5"}).replaySpeed == 2.5);
    QVERIFY(!parsed({"--replay", "a.rec", "--speed", "max"}).replaySpeed);
}

void TestOptions::recordingNamesTheDevice()
{
    QVERIFY(sim::recordingHeader({}) == (recording::RecordingHeader{.serialNumber = 0xC0FFEE}));
    const Arguments arguments{"--baud", "1500000",  "--line-baud", "460800",   "--rate",
                              "50",     "--silent", "--outputs",   "0x47",     "--motion",
                              "spin",   "--seed",   "9",           "--serial", "7",
                              "--lose", "0.01"};
    const recording::RecordingHeader expected{.baud = 460800,
                                              .rateHz = 50,
                                              .outputs = 0x47,
                                              .motion = "spin",
                                              .seed = 9,
                                              .serialNumber = 7,
                                              .faults = "--silent --lose 0.01"};
    QVERIFY(sim::recordingHeader(parsed(arguments)) == expected);
}

void TestOptions::helpNamesEveryOption()
{
    const std::string help = sim::Options().help();
    for (const char *name : {"--baud",
                             "--line-baud",
                             "--rate",
                             "--outputs",
                             "--motion",
                             "--seed",
                             "--serial",
                             "--calibration-points",
                             "--link",
                             "--port",
                             "--silent",
                             "--no-reply",
                             "--wrong-echo",
                             "--refuse",
                             "--ignore",
                             "--late-reply",
                             "--reply-shape",
                             "--slow-baud-change",
                             "--corrupt",
                             "--noise",
                             "--lose",
                             "--unplug-after",
                             "--return-after",
                             "--record",
                             "--replay",
                             "--speed",
                             "--statistics",
                             "--version",
                             "--gyro-noise",
                             "--gyro-bias",
                             "--gyro-drift",
                             "--easy",
                             "--flash-time",
                             "--stale-samples",
                             "--baud-change-time",
                             "--check-outputs",
                             "--clock-drift",
                             "--adapter",
                             "--latency-timer",
                             "--bit-errors",
                             "--fault",
                             "--calibration-bytes"})
        QVERIFY2(help.find(std::string("  ") + name + " ") != std::string::npos, name);
    QVERIFY(help.find("COMMAND [ARGUMENT...]") != std::string::npos);
}

void TestOptions::codesAreNamesOrNumbers_data()
{
    QTest::addColumn<std::string>("text");
    QTest::addColumn<int>("code");
    QTest::newRow("RATES") << std::string("RATES") << 0;
    QTest::newRow("lower case") << std::string("calibration_data_size") << 21;
    QTest::newRow("ZERO_THRESHOLD") << std::string("ZERO_THRESHOLD") << 23;
    QTest::newRow("0") << std::string("0") << 0;
    QTest::newRow("23") << std::string("23") << 23;
}

void TestOptions::codesAreNamesOrNumbers()
{
    QFETCH(const std::string, text);
    QFETCH(const int, code);
    QCOMPARE(parsed({"--refuse", text}).device.faults.refuse,
             (std::set<unsigned char>{static_cast<unsigned char>(code)}));
}

QTEST_APPLESS_MAIN(TestOptions)
#include "test_options.moc"
