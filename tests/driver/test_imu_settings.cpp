#include <boost/make_shared.hpp>

#include <QElapsedTimer>
#include <QTest>

#include "tests/driver/scripted_driver.h"
#include "tests/driver/settings_reply.h"
#include "tests/fixtures/scripted_device.h"
#include "tests/fixtures/test_main.h"

using bytes::code;
using bytes::hex;
using bytes::packet;

namespace {

QByteArray dataRateReply(unsigned rate)
{
    return packet('G', code(8) + bytes::u16(rate));
}

QByteArray outputsReply(unsigned mask)
{
    return packet('G', code(9) + bytes::u16(mask));
}

QByteArray statusReply(int block, int status)
{
    return packet('G', code(block) + code(status));
}

} // namespace

// The operations that change a setting, save the settings or reset them, and the wait for a reply.
class TestImuSettings : public QObject
{
    Q_OBJECT

private slots:
    void notConnectedDoesNothingAndHoldsNoLock();
    void waitForResponse_data();
    void waitForResponse();
    void waitForResponseOfAnUnknownCode();

    void setDataRateOnce();
    void setDataRateOnceRefusesAnotherEcho();
    void setDataRateRepeatsUntilConfirmed();
    void setDataRateRepeatsForEver_data();
    void setDataRateRepeatsForEver();
    void setDataRateIgnoresAStaleEcho();

    void setOutputsConfirmed();
    void setOutputsOfASilentDeviceFailsAfter1002Attempts();
    void setOutputsOfAnotherEchoFails();
    void setOutputsRepeatsAfterOneMillisecond();

    void setZeroThresholdIgnoresTheEchoedValue();
    void setZeroThresholdRepeatsForEver();
    void setZeroThresholdAcceptsAnOldReply();

    void confirmedByStatus_data();
    void confirmedByStatus();
    void statusOtherThanOneDoesNotConfirm_data();
    void statusOtherThanOneDoesNotConfirm();
    void savesTheLastReceivedMask();

    void sleepsInRealTime();
    void worksOnARealLine();
};

void TestImuSettings::notConnectedDoesNothingAndHoldsNoLock()
{
    ScriptedDriver script;
    imu &driver = script.driver;
    driver.disconnect();
    QVERIFY(!driver.setDataRate(100));
    QVERIFY(!driver.setOutputs(1));
    driver.setZeroThreshold(0.02F);
    QVERIFY(!driver.saveSettings());
    QVERIFY(!driver.revertToFactorySettings());
    QVERIFY(!driver.loadSettings());
    QVERIFY(!driver.setBaudRate(115200));
    QVERIFY(!driver.setDataRate_(100));
    QVERIFY(!driver.setOutputs_(1));
    QVERIFY(!driver.setZeroThreshold_(0.02F));
    QVERIFY(!driver.saveSettings_());
    QVERIFY(!driver.revertToFactorySettings_());
    QVERIFY(!driver.loadSettings_());
    QVERIFY(!driver.setBaudRate_(115200));
    driver.resetSettingsFlags();
    QVERIFY(script.sleeps().isEmpty());

    driver.connect(script.port.path(), 115200, 8, 0, 1);
    QVERIFY(script.sent(0).isEmpty());
    script.answerDuring(1, dataRateReply(100));
    QVERIFY(driver.setDataRate(100));
}

void TestImuSettings::waitForResponse_data()
{
    QTest::addColumn<int>("during");
    QTest::addColumn<bool>("seen");
    QTest::addColumn<int>("sleeps");
    QTest::newRow("already there") << 0 << true << 0;
    for (int during = 1; during <= 8; ++during)
        QTest::addRow("during sleep %d", during) << during << true << during;
    QTest::newRow("during the last sleep") << 9 << false << 9;
    QTest::newRow("never") << 10 << false << 9;
}

void TestImuSettings::waitForResponse()
{
    QFETCH(int, during);
    QFETCH(bool, seen);
    QFETCH(int, sleeps);

    ScriptedDriver script;
    script.feed(during == 0 ? dataRateReply(100) : QByteArray());
    script.answerDuring(during, dataRateReply(100));
    QCOMPARE(script.driver.waitForResponse(8), seen);
    QCOMPARE(script.sleeps(), tens(sleeps));
    // The flag stays set until a getter returns the value.
    QCOMPARE(script.driver.getDataRate(), during <= 9 ? 100 : 0);
}

void TestImuSettings::waitForResponseOfAnUnknownCode()
{
    ScriptedDriver script;
    for (const int code : {-1, 24, 32, 1000}) {
        script.forgetSleeps();
        QVERIFY(!script.driver.waitForResponse(code));
        QCOMPARE(script.sleeps(), tens(9));
    }
}

// --- Data rate

void TestImuSettings::setDataRateOnce()
{
    ScriptedDriver script;
    script.answerDuring(3, dataRateReply(1000));
    QVERIFY(script.driver.setDataRate_(1000));
    QCOMPARE(script.sleeps(), tens(3));
    QCOMPARE(script.sent(12), hex("53 43 0C 00 0D 08 E8 03 00 00 00 01"));
    QCOMPARE(script.driver.getDataRate(), 1000);
}

void TestImuSettings::setDataRateOnceRefusesAnotherEcho()
{
    ScriptedDriver script;
    script.answerDuring(1, dataRateReply(500));
    QVERIFY(!script.driver.setDataRate_(1000));
    QCOMPARE(script.sleeps(), tens(1));
}

void TestImuSettings::setDataRateRepeatsUntilConfirmed()
{
    ScriptedDriver script;
    script.answerDuring(10 + 10 + 2, dataRateReply(100)); // in the third attempt
    QVERIFY(script.driver.setDataRate(100));
    QCOMPARE(script.sleeps(), tens(9 + 1 + 9 + 1 + 2));
    QCOMPARE(script.sent(36), hex("53 43 0C 00 0D 08 64 00 00 00 79 00").repeated(3));
    QCOMPARE(script.driver.getDataRate(), 0); // the operation has consumed it as confirmation
}

void TestImuSettings::setDataRateRepeatsForEver_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("silent") << QByteArray();
    QTest::newRow("another rate") << dataRateReply(99);
}

void TestImuSettings::setDataRateRepeatsForEver()
{
    QFETCH(QByteArray, answer);

    ScriptedDriver script;
    script.answerDuring(1, answer);
    QVERIFY(neverReturns(script, 5000, [&] { script.driver.setDataRate(100); }));
    QCOMPARE(script.sleepsOf(10), 5000);
}

// The flag of an earlier reply ends the wait at once, but not the operation.
void TestImuSettings::setDataRateIgnoresAStaleEcho()
{
    ScriptedDriver script;
    script.feed(dataRateReply(50));
    script.answerDuring(2, dataRateReply(100));
    QVERIFY(script.driver.setDataRate(100));
    QCOMPARE(script.sleeps(), tens(2));
    QCOMPARE(script.sent(36).size(), 36);
}

// --- Outputs

void TestImuSettings::setOutputsConfirmed()
{
    ScriptedDriver script;
    script.answerDuring(1, outputsReply(0x0167));
    QVERIFY(script.driver.setOutputs(0x0167));
    QCOMPARE(script.sleeps(), tens(1));
    QCOMPARE(script.sent(12), hex("53 43 0C 00 0D 09 67 01 00 00 7E 00"));
    QCOMPARE(script.driver.getOutputs(), static_cast<unsigned short>(0));
}

void TestImuSettings::setOutputsOfASilentDeviceFailsAfter1002Attempts()
{
    ScriptedDriver script;
    QVERIFY(!script.driver.setOutputs(0));
    QCOMPARE(script.sleepsOf(10), 1002 * 9);
    QCOMPARE(script.sleepsOf(1), 1002);
    QCOMPARE(script.sleeps().size(), 1002 * 10);
    QCOMPARE(script.sleeps().first(10), tens(9) + QList{1});
    QVERIFY(script.sent(1002 * 12) == hex("53 43 0C 00 0D 09 00 00 00 00 16 00").repeated(1002));
}

void TestImuSettings::setOutputsOfAnotherEchoFails()
{
    ScriptedDriver script;
    script.feed(outputsReply(5));
    QVERIFY(!script.driver.setOutputs(4));
    QCOMPARE(script.sleepsOf(1), 1002); // the old reply ended each wait at once
    QCOMPARE(script.sleepsOf(10), 0);
    QCOMPARE(script.driver.getOutputs(), static_cast<unsigned short>(5));
}

void TestImuSettings::setOutputsRepeatsAfterOneMillisecond()
{
    ScriptedDriver script;
    script.answerDuring(10, outputsReply(4)); // in the pause between two attempts
    QVERIFY(script.driver.setOutputs(4));
    QCOMPARE(script.sleeps(), tens(9) + QList{1});
    QCOMPARE(script.sent(24).size(), 24);
}

// --- Zero threshold

void TestImuSettings::setZeroThresholdIgnoresTheEchoedValue()
{
    ScriptedDriver script;
    script.answerDuring(9 + 1 + 4, packet('G', code(23) + bytes::floats({5})));
    script.driver.setZeroThreshold(0.02F);
    QCOMPARE(script.sleeps(), tens(9 + 1 + 4));
    QCOMPARE(script.sent(24), hex("53 43 0C 00 0D 17 0A D7 A3 3C E4 01").repeated(2));
}

void TestImuSettings::setZeroThresholdRepeatsForEver()
{
    ScriptedDriver script;
    QVERIFY(neverReturns(script, 5000, [&] { script.driver.setZeroThreshold(0.02F); }));
    QCOMPARE(script.sleepsOf(10), 5000);
}

void TestImuSettings::setZeroThresholdAcceptsAnOldReply()
{
    ScriptedDriver script;
    script.feed(packet('G', code(23) + bytes::floats({5})));
    script.driver.setZeroThreshold(1);
    QVERIFY(script.sleeps().isEmpty());
    QCOMPARE(script.sent(12), hex("53 43 0C 00 0D 17 00 00 80 3F E3 00"));
}

// --- Save and factory reset

void TestImuSettings::confirmedByStatus_data()
{
    QTest::addColumn<int>("block");
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("save") << 11 << hex("53 43 09 00 0B 00 00 0B 00");
    QTest::newRow("factory reset") << 10 << hex("53 43 09 00 0A 00 00 0A 00");
}

void TestImuSettings::confirmedByStatus()
{
    QFETCH(int, block);
    QFETCH(QByteArray, command);

    ScriptedDriver script;
    script.feed(statusReply(block, 1)); // an old reply, which must not count
    script.answerDuring(9 + 1 + 9 + 1 + 2, statusReply(block, 1));
    QVERIFY(block == 11 ? script.driver.saveSettings() : script.driver.revertToFactorySettings());
    QCOMPARE(script.sleeps(), tens(9) + QList{500} + tens(9) + QList{500} + tens(2));
    QCOMPARE(script.sent(27), command.repeated(3));
}

void TestImuSettings::statusOtherThanOneDoesNotConfirm_data()
{
    QTest::addColumn<int>("block");
    QTest::addColumn<int>("status");
    for (const int block : {10, 11}) {
        for (const int status : {0, 2, 255})
            QTest::addRow("code %d status %d", block, status) << block << status;
    }
}

void TestImuSettings::statusOtherThanOneDoesNotConfirm()
{
    QFETCH(int, block);
    QFETCH(int, status);

    ScriptedDriver script;
    for (int sleep = 1; sleep <= 1000; ++sleep)
        script.answerDuring(sleep, statusReply(block, status));
    QVERIFY(neverReturns(script, 1000, [&] {
        block == 11 ? script.driver.saveSettings() : script.driver.revertToFactorySettings();
    }));
    QCOMPARE(script.sleepsOf(500), 100);
}

void TestImuSettings::savesTheLastReceivedMask()
{
    ScriptedDriver script;
    script.feed(outputsReply(0x0267));
    QVERIFY(!script.driver.setOutputs_(0x0004)); // sent, but an earlier reply had another mask
    script.sent(12);
    script.forgetSleeps();
    script.answerDuring(1, statusReply(11, 1) + statusReply(10, 1));
    QVERIFY(script.driver.saveSettings());
    QVERIFY(script.driver.revertToFactorySettings_());
    QCOMPARE(script.sent(18), hex("53 43 09 00 0B 67 02 74 00"
                                  "53 43 09 00 0A 67 02 73 00"));
}

// --- In real time, on a real line

void TestImuSettings::sleepsInRealTime()
{
    PtyPort port;
    imu driver(nullptr);
    driver.connect(port.path(), 115200, 8, 0, 1);
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!driver.setOutputs_(0));
    QVERIFY2(timer.elapsed() >= 90, qPrintable(QString::number(timer.elapsed())));
    timer.restart();
    QVERIFY(!driver.loadSettings_());
    QVERIFY2(timer.elapsed() >= 100, qPrintable(QString::number(timer.elapsed())));
}

void TestImuSettings::worksOnARealLine()
{
    PtyPort port;
    unsigned mask = 0x0067;
    ScriptedDevice device(port, [&mask](const QByteArray &command) {
        const auto at = [&command](qsizetype i) { return static_cast<unsigned char>(command[i]); };
        const unsigned value = at(6) | static_cast<unsigned>(at(7)) << 8;
        switch (at(4)) {
        case 10:
        case 11:
            return packet('G', code(at(4)) + code(1));
        case 12:
            return packet('G', kBaud + kRate + code(9) + bytes::u16(mask)) +
                   packet('G', kVersions + kSerial);
        default:
            break;
        }
        if (at(5) == 9)
            mask = value;
        return packet('G', code(at(5)) + command.mid(6, at(5) == 23 ? 4 : 2));
    });
    const auto driver = boost::make_shared<imu>(nullptr);
    driver->start();
    driver->connect(port.path(), 115200, 8, 0, 1);

    QVERIFY(driver->setDataRate(500));
    QVERIFY(driver->setOutputs(0x0104));
    driver->setZeroThreshold(0.02F);
    QVERIFY(driver->loadSettings());
    QCOMPARE(driver->getDataRate(), 200);
    QCOMPARE(driver->getOutputs(), static_cast<unsigned short>(0x0104));
    QVERIFY(driver->saveSettings());
    QVERIFY(driver->revertToFactorySettings());
    QCOMPARE(device.commands().first(), hex("53 43 0C 00 0D 08 F4 01 00 00 0A 01"));
    QVERIFY(device.commands().contains(hex("53 43 09 00 0B 04 01 10 00")));
    QVERIFY(device.commands().contains(hex("53 43 09 00 0A 04 01 0F 00")));
}

VORNIX_TEST_MAIN(TestImuSettings, QCoreApplication)
#include "test_imu_settings.moc"
