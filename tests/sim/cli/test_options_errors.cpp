// The mistakes in the options of vornix-sim.

#include <CLI/Error.hpp>

#include <QTest>

#include "sim/cli/options.h"

using Arguments = std::vector<std::string>;

class TestOptionsErrors : public QObject
{
    Q_OBJECT

private slots:
    void refuses_data();
    void refuses();
    void reportsAMistakeWithStatus2();
};

void TestOptionsErrors::refuses_data()
{
    QTest::addColumn<Arguments>("arguments");
    QTest::addColumn<QString>("named");
    const auto row = [](const char *named, const Arguments &arguments) {
        std::string name;
        for (const std::string &argument : arguments)
            name += argument + ' ';
        QTest::newRow(name.c_str()) << arguments << QString::fromUtf8(named);
    };
    row("--pace", {"--pace", "1"});
    row("vornix", {"vornix"});
    row("--baud", {"--baud"});
    row("--baud", {"--baud", "fast"});
    row("--baud", {"--baud", "115200x"});
    row("--rate", {"--rate", "65536"});
    row("--rate", {"--rate", "-1"});
    row("--line-baud", {"--line-baud", "0"});
    row("--motion", {"--motion", "fall"});
    row("--reply-shape", {"--reply-shape", "round"});
    row("--refuse", {"--refuse", "NONSENSE"});
    row("--refuse", {"--refuse", "24"});
    row("--refuse", {"--refuse", "-1"});
    row("--late-reply", {"--late-reply", "GET"});
    row("--late-reply", {"--late-reply", "GET:-1"});
    row("--ignore", {"--ignore", "GET:x"});
    row("--slow-baud-change", {"--slow-baud-change", "-1"});
    row("--lose", {"--lose", "1.5"});
    row("--lose", {"--lose", "nan"});
    row("--flash-time", {"--flash-time", "9-8"});
    row("--flash-time", {"--flash-time", "-8"});
    row("--flash-time", {"--flash-time", "5-"});
    row("--flash-time", {"--flash-time", "60001"});
    row("--adapter", {"--adapter", "pl2303"});
    row("--latency-timer", {"--latency-timer", "0"});
    row("--latency-timer", {"--latency-timer", "256"});
    row("--clock-drift", {"--clock-drift", "100001"});
    row("--clock-drift", {"--clock-drift", "-100001"});
    row("--bit-errors", {"--bit-errors", "2"});
    row("--fault", {"--fault", "rain"});
    row("--calibration-bytes", {"--calibration-bytes", "12801"});
    row("--adapter", {"--adapter", "ch340", "--replay", "x"});
    row("--corrupt", {"--corrupt", "0"});
    row("--noise", {"--noise", "10001"});
    row("--unplug-after", {"--unplug-after", "-1"});
    row("--unplug-after", {"--unplug-after", "1e7"});
    row("--calibration-points", {"--calibration-points", "601"});
    row("--port", {"--port", "../x", "--", "true"});
    row("--port", {"--port", "ttyUSB0", "--port", "ttyUSB0", "--", "true"});
    row("--port", {"--port", "ttyUSB0"});
    row("--link", {"--link", "/tmp/x", "--", "true"});
    row("--unplug-after", {"--return-after", "1"});
    row("COMMAND", {"--"});
    row("--record", {"--record", ""});
    row("--record", {"--record"});
    row("--replay", {"--speed", "2"});
    row("--replay", {"--speed", "max"});
    row("--speed", {"--replay", "x", "--speed", "0"});
    row("--speed", {"--replay", "x", "--speed", "0.001"});
    row("--speed", {"--replay", "x", "--speed", "1001"});
    row("--speed", {"--replay", "x", "--speed", "fast"});
    row("--replay", {"--record", "x", "--replay", "y"});
    row("--record", {"--record", "x", "--port", "ttyUSB0", "--port", "ttyUSB1", "--", "true"});
    row("--rate", {"--replay", "x", "--rate", "50"});
    row("--noise", {"--noise", "3", "--replay", "x"});
}

// The parser words the message; our part is that it names the wrong option.
void TestOptionsErrors::refuses()
{
    QFETCH(const Arguments, arguments);
    QFETCH(const QString, named);
    sim::Options options;
    try {
        options.parse(arguments);
        QFAIL("accepted");
    } catch (const CLI::ParseError &error) {
        QVERIFY(error.get_exit_code() != 0);
        QVERIFY2(QString::fromUtf8(error.what()).contains(named), error.what());
    }
}

void TestOptionsErrors::reportsAMistakeWithStatus2()
{
    sim::Options options;
    const Arguments arguments{"--baud"};
    try {
        options.parse(arguments);
        QFAIL("accepted");
    } catch (const CLI::ParseError &error) {
        QCOMPARE(options.report(error), 2);
    }
}

QTEST_APPLESS_MAIN(TestOptionsErrors)
#include "test_options_errors.moc"
