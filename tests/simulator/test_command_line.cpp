// What vornix-sim understands.

#include "sim/CommandLine.h"
#include "sim/OptionValues.h"

#include <QTest>

using namespace std::chrono_literals;
using sim::CommandLine;
using Arguments = std::vector<std::string>;

class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void startsWithTheFactorySettings();
    void readsTheUnit();
    void readsFaults();
    void readsACommand();
    void showsHelpAndVersion();
    void refuses_data();
    void refuses();
    void readsRecordings();
    void tellsARecordingOfTheUnit();
    void helpNamesEveryOption();
    void knowsCodes();
};

void TestCommandLine::startsWithTheFactorySettings()
{
    const CommandLine line = sim::parseCommandLine({});
    QCOMPARE(line.action, CommandLine::Action::Run);
    QVERIFY(line.configuration.device.settings == sim::Settings{});
    QCOMPARE(line.configuration.device.motion, sim::Motion::Hand);
    QCOMPARE(line.configuration.calibrationPoints, 120u);
    QVERIFY(line.configuration.ports.empty());
    QVERIFY(line.configuration.command.empty());
    QVERIFY(!line.configuration.statistics);
}

void TestCommandLine::readsTheUnit()
{
    const Arguments arguments{
        "--baud", "1500000",   "--line-baud", "460800",      "--rate",
        "400",    "--outputs", "0x1FF",       "--motion",    "tumble",
        "--seed", "42",        "--serial",    "3054",        "--calibration-points",
        "7",      "--link",    "/tmp/unit",   "--statistics"};
    const CommandLine line = sim::parseCommandLine(arguments);
    QCOMPARE(line.action, CommandLine::Action::Run);
    const sim::DeviceOptions &device = line.configuration.device;
    QCOMPARE(device.settings.baud, 1500000u);
    QCOMPARE(device.fallbackBaud, 460800u);
    QCOMPARE(device.settings.rateHz, std::uint16_t(400));
    QCOMPARE(device.settings.outputs, std::uint16_t(0x1FF));
    QCOMPARE(device.motion, sim::Motion::Tumble);
    QCOMPARE(device.seed, std::uint64_t(42));
    QCOMPARE(device.serialNumber, 3054u);
    QCOMPARE(line.configuration.calibrationPoints, 7u);
    QCOMPARE(line.configuration.link, std::string("/tmp/unit"));
    QVERIFY(line.configuration.statistics);
}

void TestCommandLine::readsFaults()
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
    const CommandLine line = sim::parseCommandLine(arguments);
    QCOMPARE(line.problem, std::string());
    const sim::Faults &faults = line.configuration.device.faults;
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
    QVERIFY(line.configuration.unplugAfter == 1500ms);
    QVERIFY(line.configuration.returnAfter == 2000ms);
}

void TestCommandLine::readsACommand()
{
    const Arguments one{"--", "vornix", "--help"};
    CommandLine line = sim::parseCommandLine(one);
    QCOMPARE(line.action, CommandLine::Action::Run);
    QCOMPARE(line.configuration.command, (Arguments{"vornix", "--help"}));
    QCOMPARE(line.configuration.ports, Arguments{"ttyUSB0"});

    const Arguments two{"--port", "ttyUSB1", "--port", "ttyACM3", "--", "vornix"};
    line = sim::parseCommandLine(two);
    QCOMPARE(line.configuration.ports, (Arguments{"ttyUSB1", "ttyACM3"}));
}

void TestCommandLine::showsHelpAndVersion()
{
    const Arguments help{"--seed", "1", "--help", "--nonsense"};
    QCOMPARE(sim::parseCommandLine(help).action, CommandLine::Action::ShowHelp);
    QCOMPARE(sim::parseCommandLine(Arguments{"-h"}).action, CommandLine::Action::ShowHelp);
    QCOMPARE(sim::parseCommandLine(Arguments{"--version"}).action,
             CommandLine::Action::ShowVersion);
}

void TestCommandLine::refuses_data()
{
    QTest::addColumn<Arguments>("arguments");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *problem, const Arguments &arguments) {
        QTest::newRow(problem) << arguments << QString::fromUtf8(problem);
    };
    row("unknown option --pace", {"--pace", "1"});
    row("unknown option vornix", {"vornix"});
    row("--baud needs a value", {"--baud"});
    row("bad value for --baud: fast", {"--baud", "fast"});
    row("bad value for --baud: 115200x", {"--baud", "115200x"});
    row("bad value for --rate: 65536", {"--rate", "65536"});
    row("bad value for --rate: -1", {"--rate", "-1"});
    row("bad value for --line-baud: 0", {"--line-baud", "0"});
    row("bad value for --motion: fall", {"--motion", "fall"});
    row("bad value for --refuse: NONSENSE", {"--refuse", "NONSENSE"});
    row("bad value for --refuse: 24", {"--refuse", "24"});
    row("bad value for --late-reply: GET", {"--late-reply", "GET"});
    row("bad value for --ignore: GET:x", {"--ignore", "GET:x"});
    row("bad value for --lose: 1.5", {"--lose", "1.5"});
    row("bad value for --lose: nan", {"--lose", "nan"});
    row("bad value for --corrupt: 0", {"--corrupt", "0"});
    row("bad value for --unplug-after: -1", {"--unplug-after", "-1"});
    row("bad value for --calibration-points: 601", {"--calibration-points", "601"});
    row("bad value for --port: ../x", {"--port", "../x", "--", "true"});
    row("bad value for --port: ttyUSB0", {"--port", "ttyUSB0", "--port", "ttyUSB0", "--", "true"});
    row("--port needs a COMMAND", {"--port", "ttyUSB0"});
    row("--link is for serving without COMMAND", {"--link", "/tmp/x", "--", "true"});
    row("--return-after needs --unplug-after", {"--return-after", "1"});
    row("no COMMAND after --", {"--"});
    row("bad value for --record: ", {"--record", ""});
    row("--record needs a value", {"--record"});
    row("--speed needs --replay", {"--speed", "2"});
    row("--speed needs --replay", {"--speed", "max"});
    row("bad value for --speed: 0", {"--replay", "x", "--speed", "0"});
    row("bad value for --speed: 0.001", {"--replay", "x", "--speed", "0.001"});
    row("bad value for --speed: 1001", {"--replay", "x", "--speed", "1001"});
    row("bad value for --speed: fast", {"--replay", "x", "--speed", "fast"});
    row("--record and --replay exclude each other", {"--record", "x", "--replay", "y"});
    row("--record is for a single unit",
        {"--record", "x", "--port", "ttyUSB0", "--port", "ttyUSB1", "--", "true"});
    row("--rate is for a unit that is not replayed", {"--replay", "x", "--rate", "50"});
    row("--noise is for a unit that is not replayed", {"--noise", "3", "--replay", "x"});
}

void TestCommandLine::refuses()
{
    QFETCH(const Arguments, arguments);
    QFETCH(const QString, problem);
    const CommandLine line = sim::parseCommandLine(arguments);
    QCOMPARE(line.action, CommandLine::Action::Refuse);
    QCOMPARE(QString::fromStdString(line.problem), problem);
}

void TestCommandLine::readsRecordings()
{
    CommandLine line = sim::parseCommandLine(Arguments{"--record", "a.rec", "--rate", "50"});
    QCOMPARE(line.action, CommandLine::Action::Run);
    QCOMPARE(line.configuration.recordTo, std::string("a.rec"));
    line = sim::parseCommandLine(Arguments{"--replay", "a.rec", "--link", "/tmp/unit"});
    QCOMPARE(line.action, CommandLine::Action::Run);
    QCOMPARE(line.configuration.replayFrom, std::string("a.rec"));
    QVERIFY(line.configuration.replaySpeed == 1.0);
    line = sim::parseCommandLine(Arguments{"--replay", "a.rec", "--speed", "2.5"});
    QVERIFY(line.configuration.replaySpeed == 2.5);
    line = sim::parseCommandLine(Arguments{"--replay", "a.rec", "--speed", "max"});
    QCOMPARE(line.action, CommandLine::Action::Run);
    QVERIFY(!line.configuration.replaySpeed);
}

void TestCommandLine::tellsARecordingOfTheUnit()
{
    QVERIFY(sim::recordingHeader({}) == (sim::RecordingHeader{.serialNumber = 0xC0FFEE}));
    const Arguments arguments{"--baud", "1500000",  "--line-baud", "460800",   "--rate",
                              "50",     "--silent", "--outputs",   "0x47",     "--motion",
                              "spin",   "--seed",   "9",           "--serial", "7",
                              "--lose", "0.01"};
    const sim::RecordingHeader expected{.baud = 460800,
                                        .rateHz = 50,
                                        .outputs = 0x47,
                                        .motion = "spin",
                                        .seed = 9,
                                        .serialNumber = 7,
                                        .faults = "--silent --lose 0.01"};
    QVERIFY(sim::recordingHeader(sim::parseCommandLine(arguments).configuration) == expected);
}

void TestCommandLine::helpNamesEveryOption()
{
    const std::string help = sim::helpText();
    for (const char *name : {"--baud",         "--line-baud",
                             "--rate",         "--outputs",
                             "--motion",       "--seed",
                             "--serial",       "--calibration-points",
                             "--link",         "--port",
                             "--silent",       "--no-reply",
                             "--wrong-echo",   "--refuse",
                             "--ignore",       "--late-reply",
                             "--reply-shape",  "--slow-baud-change",
                             "--corrupt",      "--noise",
                             "--lose",         "--unplug-after",
                             "--return-after", "--record",
                             "--replay",       "--speed",
                             "--help",         "--version"})
        QVERIFY2(help.find(std::string("  ") + name + " ") != std::string::npos, name);
}

void TestCommandLine::knowsCodes()
{
    QVERIFY(sim::blockCode("RATES") == 0);
    QVERIFY(sim::blockCode("calibration_data_size") == 21);
    QVERIFY(sim::blockCode("ZERO_THRESHOLD") == 23);
    QVERIFY(sim::blockCode("0") == 0);
    QVERIFY(sim::blockCode("23") == 23);
    QVERIFY(!sim::blockCode("24"));
    QVERIFY(!sim::blockCode(""));
    QVERIFY(!sim::blockCode("RATE"));
}

QTEST_APPLESS_MAIN(TestCommandLine)
#include "test_command_line.moc"
