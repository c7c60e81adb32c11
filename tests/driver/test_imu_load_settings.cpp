#include <QTest>

#include "tests/driver/scripted_driver.h"
#include "tests/driver/settings_reply.h"
#include "tests/fixtures/test_main.h"

using bytes::hex;
using bytes::packet;

namespace {

const QByteArray kGetSettings = hex("53 43 0C 00 0C 07 08 09 10 11 45 00");

} // namespace

// Reading all settings of the device at once.
class TestImuLoadSettings : public QObject
{
    Q_OBJECT

private slots:
    void loadSettings_data();
    void loadSettings();
    void loadSettingsCollectsAcrossAttempts();
    void loadSettingsMissingOneFails_data();
    void loadSettingsMissingOneFails();
    void loadSettingsIgnoresOldReplies();
    void loadSettingsOnceAcceptsOldReplies();
};

void TestImuLoadSettings::loadSettings_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("in one packet") << packet('G', kBaud + kRate + kOutputs + kVersions + kSerial);
    QTest::newRow("in another order")
        << packet('G', kSerial + kVersions + kOutputs + kRate + kBaud);
    QTest::newRow("a packet each") << packet('G', kBaud) + packet('G', kRate) +
                                          packet('G', kOutputs) + packet('G', kVersions) +
                                          packet('G', kSerial);
    QTest::newRow("among samples") << packet('G', kVersions + kSerial) +
                                          bytes::quaternionPacket(0, 0, 0, 1) +
                                          packet('G', kOutputs + kRate) + hex("00 53") +
                                          packet('G', kBaud) + packet('G', kBaud);
}

void TestImuLoadSettings::loadSettings()
{
    QFETCH(QByteArray, answer);

    ScriptedDriver script;
    script.answerDuring(2, answer);
    QVERIFY(script.driver.loadSettings());
    QCOMPARE(script.sleeps(), tens(2));
    QCOMPARE(script.sent(12), kGetSettings);
    QCOMPARE(script.driver.getBaudRate(), 115200);
    QCOMPARE(script.driver.getDataRate(), 200);
    QCOMPARE(script.driver.getOutputs(), static_cast<unsigned short>(0x0067));
    QCOMPARE(script.driver.getFirmwareVersion(), 0x0102);
    QCOMPARE(script.driver.getHardwareVersion(), 0x0304);
    QCOMPARE(script.driver.getSerialNumber(), 4711U);
}

void TestImuLoadSettings::loadSettingsCollectsAcrossAttempts()
{
    ScriptedDriver script;
    script.answerDuring(5, packet('G', kBaud + kRate + kOutputs));
    script.answerDuring(10 + 1 + 4, packet('G', kVersions + kSerial));
    QVERIFY(script.driver.loadSettings());
    QCOMPARE(script.sleeps(), tens(10) + QList{100} + tens(4));
    QCOMPARE(script.sent(24), kGetSettings.repeated(2));
}

void TestImuLoadSettings::loadSettingsMissingOneFails_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("no baud rate") << kRate + kOutputs + kVersions + kSerial;
    QTest::newRow("no data rate") << kBaud + kOutputs + kVersions + kSerial;
    QTest::newRow("no outputs") << kBaud + kRate + kVersions + kSerial;
    QTest::newRow("no versions") << kBaud + kRate + kOutputs + kSerial;
    QTest::newRow("no serial number") << kBaud + kRate + kOutputs + kVersions;
    QTest::newRow("silent") << QByteArray();
}

void TestImuLoadSettings::loadSettingsMissingOneFails()
{
    QFETCH(QByteArray, answer);

    ScriptedDriver script;
    for (int sleep = 1; sleep <= 101 * 11; sleep += 11)
        script.answerDuring(sleep, packet('G', answer));
    QVERIFY(!script.driver.loadSettings());
    QCOMPARE(script.sleepsOf(10), 101 * 10);
    QCOMPARE(script.sleepsOf(100), 101);
    QCOMPARE(script.sleeps().last(), 100);
    QVERIFY(script.sent(101 * 12) == kGetSettings.repeated(101));
}

void TestImuLoadSettings::loadSettingsIgnoresOldReplies()
{
    ScriptedDriver script;
    script.feed(packet('G', kBaud + kRate + kOutputs + kVersions + kSerial));
    QVERIFY(!script.driver.loadSettings());
    QCOMPARE(script.sleepsOf(100), 101);
}

void TestImuLoadSettings::loadSettingsOnceAcceptsOldReplies()
{
    ScriptedDriver script;
    script.feed(packet('G', kBaud + kRate + kOutputs + kVersions + kSerial));
    QVERIFY(script.driver.loadSettings_());
    QVERIFY(script.sleeps().isEmpty());
    QCOMPARE(script.sent(12), kGetSettings);
    script.driver.resetSettingsFlags();
    QVERIFY(!script.driver.loadSettings_());
    QCOMPARE(script.sleeps(), tens(10));
}

VORNIX_TEST_MAIN(TestImuLoadSettings, QCoreApplication)
#include "test_imu_load_settings.moc"
