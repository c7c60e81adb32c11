#include <cmath>
#include <functional>
#include <limits>

#include <boost/make_shared.hpp>

#include <QTest>

#include "tests/driver/scripted_driver.h"
#include "tests/fixtures/scripted_device.h"
#include "tests/fixtures/test_main.h"

using bytes::code;
using bytes::floats;
using bytes::hex;
using bytes::packet;
using Floats = std::vector<float>;
using Command = std::function<bool(imu &)>;

Q_DECLARE_METATYPE(Command)

namespace {

const Command kStart = [](imu &driver) { return driver.startCalibration(); };
const Command kStop = [](imu &driver) { return driver.stopCalibration(); };
const Command kSize = [](imu &driver) { return driver.getCalibrationDataSize() != 0; };
const Command kDownload = [](imu &driver) { return !driver.getCalibrationData(1, 2).empty(); };

// A reply with `count` floats, each equal to its index.
QByteArray dataReply(int count)
{
    QByteArray payload = code(20);
    for (int i = 0; i < count; ++i)
        payload += floats({static_cast<float>(i)});
    return packet('G', payload);
}

const Floats kBias{0.25F, -1.5F, 3};
const Floats kMatrix{1, 0.5F, -0.25F, 0.5F, 2, 0.125F, -0.25F, 0.125F, 4};

QByteArray calibrationReply(const Floats &bias, const Floats &matrix)
{
    QByteArray payload = code(15);
    for (const float value : bias)
        payload += floats({value});
    for (const float value : matrix)
        payload += floats({value});
    return packet('G', payload);
}

bool writeCalibration(imu &driver, Floats bias, Floats matrix)
{
    return driver.setMagneticFieldCalibrationData(bias.data(), matrix.data());
}

bool writeCalibrationOnce(imu &driver, Floats bias, Floats matrix)
{
    return driver.setMagneticFieldCalibrationData_(bias.data(), matrix.data());
}

} // namespace

class TestImuCalibration : public QObject
{
    Q_OBJECT

private slots:
    void notConnectedDoesNothingAndHoldsNoLock();
    void silentDevice_data();
    void silentDevice();
    void answered_data();
    void answered();
    void answeredInALaterAttempt_data();
    void answeredInALaterAttempt();
    void oldReplyDoesNotConfirm_data();
    void oldReplyDoesNotConfirm();
    void statusOtherThanOneDoesNotConfirm_data();
    void statusOtherThanOneDoesNotConfirm();
    void sizeOfAnEmptyStoreIsZero();
    void downloadSendsItsArguments();
    void downloadSelectsPoints_data();
    void downloadSelectsPoints();
    void downloadOfTooLongAReplyIsEmpty();
    void writesTheCalibration();
    void writeRefusesAChangedEcho_data();
    void writeRefusesAChangedEcho();
    void writeRepeatsForEver();
    void writeComparesFloatsNotBits();
    void worksOnARealLine();
};

void TestImuCalibration::notConnectedDoesNothingAndHoldsNoLock()
{
    ScriptedDriver script;
    script.driver.disconnect();
    QVERIFY(!script.driver.startCalibration());
    QVERIFY(!script.driver.stopCalibration());
    QCOMPARE(script.driver.getCalibrationDataSize(), 0U);
    QVERIFY(script.driver.getCalibrationData(0, 300).empty());
    QVERIFY(!writeCalibration(script.driver, kBias, kMatrix));
    QVERIFY(!writeCalibrationOnce(script.driver, kBias, kMatrix));
    QVERIFY(script.sleeps().isEmpty());

    script.driver.connect(script.port.path(), 115200, 8, 0, 1);
    QVERIFY(script.sent(0).isEmpty());
    script.answerDuring(1, packet('G', code(18) + code(1)));
    QVERIFY(script.driver.startCalibration());
}

void TestImuCalibration::silentDevice_data()
{
    QTest::addColumn<Command>("command");
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<int>("attempts");
    QTest::addColumn<int>("polls");
    QTest::newRow("start") << kStart << hex("53 43 07 00 12 12 00") << 12 << 999;
    QTest::newRow("stop") << kStop << hex("53 43 07 00 13 13 00") << 1002 << 9;
    QTest::newRow("size") << kSize << hex("53 43 07 00 15 15 00") << 1002 << 99;
    QTest::newRow("download") << kDownload << hex("53 43 0F 00 14 01 00 00 00 02 00 00 00 17 00")
                              << 102 << 9;
}

// Every sleep lasts 10 ms: one after each poll and one after each failed attempt.
void TestImuCalibration::silentDevice()
{
    QFETCH(Command, command);
    QFETCH(QByteArray, packet);
    QFETCH(int, attempts);
    QFETCH(int, polls);

    ScriptedDriver script;
    QVERIFY(!command(script.driver));
    QCOMPARE(script.sleeps().size(), attempts * (polls + 1));
    QCOMPARE(script.sleepsOf(10), script.sleeps().size());
    QVERIFY(script.sent(attempts * packet.size()) == packet.repeated(attempts));
}

void TestImuCalibration::answered_data()
{
    QTest::addColumn<Command>("command");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("packet");
    QTest::newRow("start") << kStart << packet('G', code(18) + code(1))
                           << hex("53 43 07 00 12 12 00");
    QTest::newRow("stop") << kStop << packet('G', code(19) + code(1))
                          << hex("53 43 07 00 13 13 00");
    QTest::newRow("size") << kSize << hex("53 47 0B 00 15 00 0C 00 00 21 00")
                          << hex("53 43 07 00 15 15 00");
    QTest::newRow("download") << kDownload << dataReply(12)
                              << hex("53 43 0F 00 14 01 00 00 00 02 00 00 00 17 00");
}

void TestImuCalibration::answered()
{
    QFETCH(Command, command);
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, packet);

    ScriptedDriver script;
    script.answerDuring(3, answer);
    QVERIFY(command(script.driver));
    QCOMPARE(script.sleeps().size(), 3);
    QCOMPARE(script.sent(packet.size()), packet);
}

void TestImuCalibration::answeredInALaterAttempt_data()
{
    answered_data();
}

// A reply during the last sleep of an attempt is found by the next attempt, which has sent its
// command by then.
void TestImuCalibration::answeredInALaterAttempt()
{
    QFETCH(Command, command);
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, packet);

    const QByteArray row = QTest::currentDataTag();
    const int polls = row == "start" ? 999 : row == "size" ? 99 : 9;
    ScriptedDriver script;
    script.answerDuring(polls, answer);
    QVERIFY(command(script.driver));
    QCOMPARE(script.sleeps().size(), polls + 1);
    QCOMPARE(script.sent(2 * packet.size()), packet.repeated(2));
}

void TestImuCalibration::oldReplyDoesNotConfirm_data()
{
    answered_data();
}

void TestImuCalibration::oldReplyDoesNotConfirm()
{
    QFETCH(Command, command);
    QFETCH(QByteArray, answer);

    ScriptedDriver script;
    script.feed(answer);
    script.answerDuring(2, answer);
    QVERIFY(command(script.driver));
    QCOMPARE(script.sleeps().size(), 2);
}

void TestImuCalibration::statusOtherThanOneDoesNotConfirm_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {0, 2, 255})
        QTest::addRow("%d", status) << status;
}

void TestImuCalibration::statusOtherThanOneDoesNotConfirm()
{
    QFETCH(int, status);

    ScriptedDriver script;
    script.answerDuring(1, packet('G', code(18) + code(status) + code(19) + code(status)));
    QVERIFY(!script.driver.startCalibration());
    QVERIFY(!script.driver.stopCalibration());
}

void TestImuCalibration::sizeOfAnEmptyStoreIsZero()
{
    ScriptedDriver script;
    script.answerDuring(1, packet('G', code(21) + bytes::u32(0)));
    QCOMPARE(script.driver.getCalibrationDataSize(), 0U);
    QCOMPARE(script.sleeps().size(), 1);
    script.forgetSleeps();
    script.answerDuring(1, packet('G', code(21) + bytes::u32(0xFFFFFFFF)));
    QCOMPARE(script.driver.getCalibrationDataSize(), 0xFFFFFFFFU);
}

void TestImuCalibration::downloadSendsItsArguments()
{
    ScriptedDriver script;
    script.answerDuring(1, dataReply(12));
    script.driver.getCalibrationData(0x04030201, 0xFFFFFFFE);
    QCOMPARE(script.sent(15), hex("53 43 0F 00 14 01 02 03 04 FE FF FF FF 19 04"));
}

void TestImuCalibration::downloadSelectsPoints_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<Floats>("points");

    QTest::newRow("0 floats") << 0 << Floats();
    QTest::newRow("3 floats") << 3 << Floats();
    QTest::newRow("9 floats") << 9 << Floats();
    QTest::newRow("12 floats") << 12 << Floats{0, 1, 2, 3, 4, 5, 8, 9, 10, 11};
    QTest::newRow("15 floats") << 15 << Floats{0, 1, 2, 3, 4, 5, 8, 9, 10, 11};
    QTest::newRow("24 floats") << 24 << Floats{0,  1,  2,  3,  4,  5,  8,  9,  10,
                                               11, 12, 13, 16, 17, 18, 19, 20, 21};
}

void TestImuCalibration::downloadSelectsPoints()
{
    QFETCH(int, count);
    QFETCH(Floats, points);

    ScriptedDriver script;
    // No float of an earlier, longer block may appear in the result.
    script.feed(packet('G', code(20) + QByteArray(40 * 4, '\x11')));
    script.answerDuring(1, dataReply(count));
    QCOMPARE(script.driver.getCalibrationData(0, 300), points);
    QCOMPARE(script.sleeps().size(), 1);
}

// The payload of the too long reply ends past byte 1024 and is not stored, so every attempt times
// out.
void TestImuCalibration::downloadOfTooLongAReplyIsEmpty()
{
    ScriptedDriver script;
    QByteArray tooLong = packet('G', code(20) + QByteArray(85 * 12, '\x18'));
    QCOMPARE(tooLong.size() - 2, 1025);
    for (int attempt = 0; attempt < 102; ++attempt)
        script.answerDuring(1 + 10 * attempt, tooLong);
    QVERIFY(script.driver.getCalibrationData(0, 300).empty());
    QCOMPARE(script.sleeps().size(), 102 * 10);

    script.forgetSleeps();
    script.answerDuring(1, packet('G', code(20) + QByteArray(84 * 12, '\x18')));
    QCOMPARE(script.driver.getCalibrationData(0, 300).size(), std::size_t(190));
}

void TestImuCalibration::writesTheCalibration()
{
    ScriptedDriver script;
    script.answerDuring(2, calibrationReply(kBias, kMatrix));
    QVERIFY(writeCalibration(script.driver, kBias, kMatrix));
    QCOMPARE(script.sleeps(), (QList{10, 10}));
    QCOMPARE(script.sent(56), hex("53 43 38 00 0D 0F"
                                  "0000803E 0000C0BF 00004040"
                                  "0000803F 0000003F 000080BE"
                                  "0000003F 00000040 0000003E"
                                  "000080BE 0000003E 00008040"
                                  "0E 08"));
}

void TestImuCalibration::writeRefusesAChangedEcho_data()
{
    QTest::addColumn<int>("changed");
    for (int i = 0; i < 12; ++i)
        QTest::addRow("float %d", i) << i;
}

// The echo differs by the smallest step of a float.
void TestImuCalibration::writeRefusesAChangedEcho()
{
    QFETCH(int, changed);

    Floats bias = kBias;
    Floats matrix = kMatrix;
    float &value = changed < 3 ? bias[static_cast<std::size_t>(changed)]
                               : matrix[static_cast<std::size_t>(changed - 3)];
    value = std::nextafter(value, 100.0F);
    ScriptedDriver script;
    script.answerDuring(1, calibrationReply(bias, matrix));
    script.answerDuring(9, calibrationReply(kBias, kMatrix));
    QVERIFY(!writeCalibrationOnce(script.driver, kBias, kMatrix));
    QCOMPARE(script.sleeps().size(), 1);

    // The operation repeats until the right echo arrives. The flag of the wrong echo is still set,
    // so each attempt polls only once.
    QVERIFY(writeCalibration(script.driver, kBias, kMatrix));
    QCOMPARE(script.sleepsOf(10), 9);
}

void TestImuCalibration::writeRepeatsForEver()
{
    Floats other = kMatrix;
    other[8] += 1;
    ScriptedDriver wrong;
    wrong.answerDuring(1, calibrationReply(kBias, other));
    QVERIFY(neverReturns(wrong, 3000, [&] { writeCalibration(wrong.driver, kBias, kMatrix); }));
    QCOMPARE(wrong.sleepsOf(10), 3000);

    ScriptedDriver silent;
    QVERIFY(neverReturns(silent, 3000, [&] { writeCalibration(silent.driver, kBias, kMatrix); }));
    QVERIFY(silent.sent(300 * 56).size() == 300 * 56); // nine polls and a pause each
}

// 0 equals -0, and a NaN differs from every value, even from its own echo.
void TestImuCalibration::writeComparesFloatsNotBits()
{
    ScriptedDriver script;
    script.answerDuring(1, calibrationReply({0, 0, 0}, kMatrix));
    QVERIFY(writeCalibrationOnce(script.driver, {-0.0F, 0, -0.0F}, kMatrix));

    const Floats nan{std::numeric_limits<float>::quiet_NaN(), 0, 0};
    script.feed(calibrationReply(nan, kMatrix));
    QVERIFY(!writeCalibrationOnce(script.driver, nan, kMatrix));
}

void TestImuCalibration::worksOnARealLine()
{
    PtyPort port;
    ScriptedDevice device(port, [](const QByteArray &command) {
        switch (command[4]) {
        case 13:
            return packet('G', command.mid(5, 49));
        case 18:
        case 19:
            return packet('G', command.mid(4, 1) + code(1));
        case 20:
            return dataReply(24);
        case 21:
            return packet('G', code(21) + bytes::u32(300));
        default:
            return QByteArray();
        }
    });
    const auto driver = boost::make_shared<imu>(nullptr);
    driver->start();
    driver->connect(port.path(), 921600, 8, 0, 1);
    QVERIFY(driver->startCalibration());
    QVERIFY(driver->stopCalibration());
    QCOMPARE(driver->getCalibrationDataSize(), 300U);
    QCOMPARE(driver->getCalibrationData(0, 300).size(), std::size_t(18));
    QVERIFY(writeCalibration(*driver, kBias, kMatrix));
    QVERIFY(device.commandCount() >= 5);
}

VORNIX_TEST_MAIN(TestImuCalibration, QCoreApplication)
#include "test_imu_calibration.moc"
