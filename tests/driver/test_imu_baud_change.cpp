#include <atomic>
#include <iostream>
#include <sstream>

#include <boost/make_shared.hpp>
#include <boost/system/system_error.hpp>

#include <QTest>

#include "tests/driver/scripted_driver.h"
#include "tests/fixtures/scripted_device.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using bytes::code;
using bytes::hex;
using bytes::packet;

namespace {

constexpr unsigned kOldBaud = 115200;
constexpr unsigned kNewBaud = 921600;
const QByteArray kSetNewBaud = hex("53 43 0C 00 0D 07 00 10 0E 00 32 00");
const QByteArray kQuaternion = bytes::quaternionPacket(0, 0, 0, 1);
const QByteArray kAltitude = packet('D', code(3) + bytes::floats({1}));

QByteArray settingsReply(unsigned baud)
{
    return packet('G', code(7) + bytes::u32(baud) + code(8) + bytes::u16(100) + code(9) +
                           bytes::u16(4) + code(16) + bytes::u32(1) + code(17) + bytes::u32(2));
}

// Captures standard output during its lifetime.
class StandardOutput
{
public:
    StandardOutput() { m_previous = std::cout.rdbuf(m_text.rdbuf()); }
    ~StandardOutput() { std::cout.rdbuf(m_previous); }
    StandardOutput(const StandardOutput &) = delete;
    StandardOutput &operator=(const StandardOutput &) = delete;

    QByteArray text() const { return QByteArray::fromStdString(m_text.str()); }

private:
    std::ostringstream m_text;
    std::streambuf *m_previous = nullptr;
};

// A device with its own baud rate. While the host has the same baud rate set, the device streams
// samples and replies; otherwise the host receives garbage. It obeys the baud rate command after
// the number of ignored commands that the test sets.
struct StubDevice
{
    StubDevice(PtyPort &line, int commandsToIgnore, int commandsAway)
        : port(line)
        , ignoredCommands(commandsToIgnore)
        , commandsUntilBack(commandsAway)
        , device(
              line, [this](const QByteArray &command) { return answer(command); },
              [this] { return stream(); })
    {
    }

    QByteArray answer(const QByteArray &command)
    {
        if (command == kSetNewBaud && ++speedCommands > ignoredCommands)
            baud = kNewBaud;
        return command[4] == 12 && matchesBaud() ? settingsReply(baud) : QByteArray();
    }

    QByteArray stream()
    {
        if (baud == kNewBaud && speedCommands <= commandsUntilBack)
            return {};
        return matchesBaud() ? kQuaternion : hex("53 44 99 00 F7");
    }

    bool matchesBaud() const { return port.speed() == baud; }

    PtyPort &port;
    const int ignoredCommands;
    const int commandsUntilBack;
    int speedCommands = 0;
    std::atomic<unsigned> baud{kOldBaud};
    ScriptedDevice device; // last: its thread uses the members above
};

} // namespace

class TestImuBaudChange : public QObject
{
    Q_OBJECT

private slots:
    void notConnectedPrintsNothing();
    void oneCommandDoesNotWaitForAReply();

    void deviceThatChangesAtOnce();
    void deviceThatNeedsRetries_data();
    void deviceThatNeedsRetries();
    void retriesForEver();
    void otherBlocksDoNotConfirm();
    void oldSampleDoesNotConfirmAndIsDiscarded();
    void pausesBetweenFailedLoadings();
    void loadingFailsAfterItsLastAttempt();
    void unsupportedBaudRateThrows();

    void deviceOnARealLine_data();
    void deviceOnARealLine();
};

void TestImuBaudChange::notConnectedPrintsNothing()
{
    ScriptedDriver script;
    script.driver.disconnect();
    const StandardOutput output;
    QVERIFY(!script.driver.setBaudRate(kNewBaud));
    QVERIFY(!script.driver.setBaudRate_(kNewBaud));
    QVERIFY(output.text().isEmpty());
    QVERIFY(script.sleeps().isEmpty());
}

void TestImuBaudChange::oneCommandDoesNotWaitForAReply()
{
    ScriptedDriver script;
    QVERIFY(script.driver.setBaudRate_(kNewBaud));
    QVERIFY(script.sleeps().isEmpty());
    QCOMPARE(script.sent(12), kSetNewBaud);
    QCOMPARE(script.port.speed(), kOldBaud);
}

void TestImuBaudChange::deviceThatChangesAtOnce()
{
    ScriptedDriver script;
    script.answerDuring(21, kQuaternion);
    script.answerDuring(21 + 1 + 3, settingsReply(kNewBaud));
    const StandardOutput output;
    QVERIFY(script.driver.setBaudRate(kNewBaud));
    QCOMPARE(output.text(), "set baud rate\nreconnect\n");
    QCOMPARE(script.sleeps(), QList<int>(22, 100) + QList<int>(3, 10));
    QCOMPARE(script.port.speed(), kNewBaud);
    QCOMPARE(script.sent(24), kSetNewBaud + hex("53 43 0C 00 0C 07 08 09 10 11 45 00"));
    // The reply's new-value flag is cleared: the operation has consumed it.
    QCOMPARE(script.driver.getBaudRate(), 0);
    QCOMPARE(script.driver.getDataRate(), 100);
}

void TestImuBaudChange::deviceThatNeedsRetries_data()
{
    QTest::addColumn<int>("retries");
    for (const int retries : {1, 2, 20})
        QTest::addRow("%d", retries) << retries;
}

// A device that ignores commands and one that returns late look the same to the driver.
void TestImuBaudChange::deviceThatNeedsRetries()
{
    QFETCH(int, retries);

    ScriptedDriver script;
    const int confirmedAt = 21 + 22 * retries;
    script.answerDuring(confirmedAt, kQuaternion);
    script.answerDuring(confirmedAt + 2, settingsReply(kNewBaud));
    const StandardOutput output;
    QVERIFY(script.driver.setBaudRate(kNewBaud));
    QCOMPARE(output.text(), QByteArray("set baud rate\nreconnect\n") +
                                QByteArray("change to new baud rate\n").repeated(retries));
    QCOMPARE(script.sleeps(), QList<int>(confirmedAt + 1, 100) + QList{10});
    QCOMPARE(script.port.speed(), kNewBaud);
    QCOMPARE(script.sent(12 * (retries + 2)).first(12 * (retries + 1)),
             kSetNewBaud.repeated(retries + 1));
}

// A sample between two checks counts only until the port is reopened.
void TestImuBaudChange::retriesForEver()
{
    ScriptedDriver script;
    const StandardOutput output;
    QVERIFY(neverReturns(script, 21 + 22 * 100, [&] { script.driver.setBaudRate(kNewBaud); }));
    QCOMPARE(output.text().count("change to new baud rate\n"), 100);
    QCOMPARE(script.sleepsOf(100), 21 + 22 * 100);
}

void TestImuBaudChange::otherBlocksDoNotConfirm()
{
    ScriptedDriver script;
    for (int sleep = 1; sleep < 100; ++sleep)
        script.answerDuring(sleep, kAltitude + settingsReply(kNewBaud));
    const StandardOutput output;
    QVERIFY(neverReturns(script, 65, [&] { script.driver.setBaudRate(kNewBaud); }));
}

void TestImuBaudChange::oldSampleDoesNotConfirmAndIsDiscarded()
{
    ScriptedDriver script;
    script.feed(kQuaternion);
    const StandardOutput output;
    QVERIFY(neverReturns(script, 43, [&] { script.driver.setBaudRate(kNewBaud); }));
    QVERIFY(script.driver.getQuaternion().empty());
    QCOMPARE(output.text().count("change to new baud rate\n"), 1);
}

// The pause after each failed loading is 1 s, after every twelfth 100 ms.
void TestImuBaudChange::pausesBetweenFailedLoadings()
{
    constexpr int kFailedLoad = 101 * 11;
    ScriptedDriver script;
    script.answerDuring(1, kQuaternion);
    script.answerDuring(22 + 25 * (kFailedLoad + 1) + 4, settingsReply(kNewBaud));
    const StandardOutput output;
    QVERIFY(script.driver.setBaudRate(kNewBaud));
    QList<int> pauses;
    for (qsizetype at = 22 + kFailedLoad; at < script.sleeps().size(); at += kFailedLoad + 1)
        pauses.append(script.sleeps()[at]);
    const QList<int> cycle = QList<int>(11, 1000) + QList{100};
    QCOMPARE(pauses, cycle + cycle + QList{1000});
    QCOMPARE(script.sleepsOf(1000), 23);
}

// There are 499 x 12 loadings. The test disconnects after the first one, so the others fail at once
// and only the pauses between them are left to count.
void TestImuBaudChange::loadingFailsAfterItsLastAttempt()
{
    ScriptedDriver script;
    script.answerDuring(21, kQuaternion);
    script.during(22 + 101 * 11 + 1, [&] { script.driver.disconnect(); });
    const StandardOutput output;
    QVERIFY(!script.driver.setBaudRate(kNewBaud));
    QCOMPARE(script.sleepsOf(1000), 499 * 11);
    QCOMPARE(script.sleepsOf(100), 22 + 101 + 499);
    QCOMPARE(script.sleepsOf(10), 101 * 10);
    QCOMPARE(output.text(), "set baud rate\nreconnect\n");
}

void TestImuBaudChange::unsupportedBaudRateThrows()
{
    ScriptedDriver script;
    const StandardOutput output;
    QByteArray error;
    try {
        script.driver.setBaudRate(12345);
    } catch (const boost::system::system_error &thrown) {
        error = thrown.what();
    }
    QCOMPARE(error, "set_option: Invalid argument");
    QVERIFY(!script.driver.setSyncEnabled(true));
    QVERIFY(script.driver.connect(script.port.path(), kOldBaud, 8, 0, 1));
    script.feed(kAltitude);
    QCOMPARE(script.driver.getAltitude(), 1.0F);
}

// --- A device on a real line; the sleeps last a fifth of their time

void TestImuBaudChange::deviceOnARealLine_data()
{
    QTest::addColumn<int>("ignoredCommands");
    QTest::addColumn<int>("commandsUntilBack");
    QTest::newRow("changes at once") << 0 << 0;
    QTest::newRow("ignores the first command") << 1 << 0;
    QTest::newRow("comes back late") << 0 << 1;
}

void TestImuBaudChange::deviceOnARealLine()
{
    QFETCH(int, ignoredCommands);
    QFETCH(int, commandsUntilBack);

    static const boost::shared_ptr<imu> driver = [] {
        auto started = boost::make_shared<imu>(nullptr);
        started->setSleeper(
            [](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration / 5); });
        started->start();
        return started;
    }();
    PtyPort port;
    StubDevice device(port, ignoredCommands, commandsUntilBack);
    QVERIFY(driver->connect(port.path(), kOldBaud, 8, 0, 1));
    const auto streams = [] { return !driver->getQuaternion().empty(); };
    QVERIFY(QTest::qWaitFor(streams, kWaitLimitMs));

    const StandardOutput output;
    QVERIFY(driver->setBaudRate(kNewBaud));
    QCOMPARE(device.baud.load(), kNewBaud);
    QCOMPARE(port.speed(), kNewBaud);
    QVERIFY(output.text().startsWith("set baud rate\nreconnect\n"));
    if (ignoredCommands > 0 || commandsUntilBack > 0)
        QVERIFY(output.text().contains("change to new baud rate\n"));
    QVERIFY(QTest::qWaitFor(streams, kWaitLimitMs));
    driver->disconnect();
}

VORNIX_TEST_MAIN(TestImuBaudChange, QCoreApplication)
#include "test_imu_baud_change.moc"
