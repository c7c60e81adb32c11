#include <functional>
#include <limits>

#include <QSignalSpy>
#include <QTest>

#include "tests/driver/scripted_driver.h"

using bytes::code;
using bytes::floats;
using bytes::hex;
using bytes::packet;
using Floats = std::vector<float>;
using Getter = std::function<Floats(imu &)>;

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
const QByteArray kAltitude = packet('D', code(3) + floats({7}));
const QByteArray kEuler = packet('D', code(5) + floats({1, 2, 3}));

QByteArray rowName(const char *name, int block)
{
    return QByteArray(name) + " (" + QByteArray::number(block) + ")";
}

} // namespace

Q_DECLARE_METATYPE(Getter)

class TestImuSamples : public QObject
{
    Q_OBJECT

public slots:
    // Connects a receiver to every signal by its name.
    void receive() { ++m_received; }

private slots:
    void eachSampleIsReturnedOnce_data();
    void eachSampleIsReturnedOnce();
    void gettersOfOtherBlocksStayEmpty();
    void altitudeIsInfiniteWithoutASample();
    void internalGettersCopyOnlyWhatIsNew();
    void settingsAreReturnedOnce();
    void openedBaudRateIsNotAReply();
    void versionsAndSerialNumberStay();
    void notConnectedReturnsNothingAndKeepsTheFlags();
    void valuesOutliveTheConnection();
    void laterPacketReplacesTheSample();
    void damagedPacketChangesNothing();
    void signalsCarryTheBlocks();
    void signalsReachALaterReceiver_data();
    void signalsReachALaterReceiver();
    void rawFieldIsTraced();
    void syncIsAStub();
    void processPacketReturnsWhetherItWasIntact();

private:
    int m_received = 0;
};

void TestImuSamples::eachSampleIsReturnedOnce_data()
{
    QTest::addColumn<int>("block");
    QTest::addColumn<Getter>("get");

    const auto add = [](const char *name, int block, Floats (imu::*get)()) {
        QTest::newRow(rowName(name, block).constData())
            << block << Getter([get](imu &driver) { return (driver.*get)(); });
    };
    add("rates", 0, &imu::getRates);
    add("accelerations", 1, &imu::getAccelerations);
    add("quaternion", 2, &imu::getQuaternion);
    add("covariances", 4, &imu::getCovariances);
    add("Euler", 5, &imu::getEuler);
    add("magnetic field", 6, &imu::getMagneticField);
    add("raw magnetic field", 14, &imu::getMagneticFieldRaw);
}

void TestImuSamples::eachSampleIsReturnedOnce()
{
    QFETCH(int, block);
    QFETCH(Getter, get);

    ScriptedDriver script;
    QVERIFY(get(script.driver).empty());
    const Floats values = block == 2 ? Floats{1, 2, 3, 4} : Floats{1, 2, 3};
    script.feed(packet('D', code(block) + floats({1, 2, 3}) + (block == 2 ? floats({4}) : "")));
    QCOMPARE(get(script.driver), values);
    QVERIFY(get(script.driver).empty());
}

void TestImuSamples::gettersOfOtherBlocksStayEmpty()
{
    ScriptedDriver script;
    script.feed(kEuler);
    QVERIFY(script.driver.getQuaternion().empty());
    QVERIFY(script.driver.getRates().empty());
    QVERIFY(script.driver.getAccelerations().empty());
    QVERIFY(script.driver.getMagneticField().empty());
    QVERIFY(script.driver.getMagneticFieldRaw().empty());
    QVERIFY(script.driver.getCovariances().empty());
    QCOMPARE(script.driver.getAltitude(), kInfinity);
    QCOMPARE(script.driver.getEuler(), (Floats{1, 2, 3}));
}

void TestImuSamples::altitudeIsInfiniteWithoutASample()
{
    ScriptedDriver script;
    QCOMPARE(script.driver.getAltitude(), kInfinity);
    script.feed(packet('D', code(3) + floats({0})));
    QCOMPARE(script.driver.getAltitude(), 0.0F);
    QCOMPARE(script.driver.getAltitude(), kInfinity);
}

void TestImuSamples::internalGettersCopyOnlyWhatIsNew()
{
    ScriptedDriver script;
    float out[4]{9, 9, 9, 9};
    QVERIFY(!script.driver.getQuaternion_(out));
    QVERIFY(!script.driver.getAltitude_(out));
    QCOMPARE(out[0], 9.0F);

    script.feed(bytes::quaternionPacket(1, 2, 3, 4) + kAltitude);
    QVERIFY(script.driver.getQuaternion_(out));
    QCOMPARE(Floats(out, out + 4), (Floats{1, 2, 3, 4}));
    QVERIFY(script.driver.getAltitude_(out));
    QCOMPARE(out[0], 7.0F);
    QCOMPARE(out[1], 2.0F);
    QVERIFY(!script.driver.getQuaternion_(out));
    QVERIFY(!script.driver.getAltitude_(out));
}

void TestImuSamples::settingsAreReturnedOnce()
{
    ScriptedDriver script;
    QCOMPARE(script.driver.getDataRate(), 0);
    QCOMPARE(script.driver.getOutputs(), static_cast<unsigned short>(0));
    script.feed(packet('G', code(7) + bytes::u32(4000000) + code(8) + bytes::u16(65535) + code(9) +
                                bytes::u16(0x8167)));
    QCOMPARE(script.driver.getBaudRate(), 4000000);
    QCOMPARE(script.driver.getDataRate(), 65535);
    QCOMPARE(script.driver.getOutputs(), static_cast<unsigned short>(0x8167));
    QCOMPARE(script.driver.getBaudRate(), 0);
    QCOMPARE(script.driver.getDataRate(), 0);
    QCOMPARE(script.driver.getOutputs(), static_cast<unsigned short>(0));
}

void TestImuSamples::openedBaudRateIsNotAReply()
{
    ScriptedDriver script;
    QCOMPARE(script.driver.getBaudRate(), 0);
    unsigned int baud = 5;
    QVERIFY(!script.driver.getBaudRate_(&baud));
    QCOMPARE(baud, 5U);
}

void TestImuSamples::versionsAndSerialNumberStay()
{
    ScriptedDriver script;
    QCOMPARE(script.driver.getFirmwareVersion(), 0);
    QCOMPARE(script.driver.getHardwareVersion(), 0);
    QCOMPARE(script.driver.getSerialNumber(), 0U);
    script.feed(packet('G', code(16) + bytes::u16(0xFEDC) + bytes::u16(3) + code(17) +
                                bytes::u32(0xFEDCBA98)));
    for (int round = 0; round < 2; ++round) {
        QCOMPARE(script.driver.getFirmwareVersion(), 0xFEDC);
        QCOMPARE(script.driver.getHardwareVersion(), 3);
        QCOMPARE(script.driver.getSerialNumber(), 0xFEDCBA98U);
    }
    script.driver.disconnect();
    QCOMPARE(script.driver.getFirmwareVersion(), 0);
    QCOMPARE(script.driver.getHardwareVersion(), 0);
    QCOMPARE(script.driver.getSerialNumber(), 0U);
    script.driver.connect(script.port.path(), 115200, 8, 0, 1);
    QCOMPARE(script.driver.getFirmwareVersion(), 0xFEDC);
    QCOMPARE(script.driver.getSerialNumber(), 0xFEDCBA98U);
}

void TestImuSamples::notConnectedReturnsNothingAndKeepsTheFlags()
{
    ScriptedDriver script;
    script.feed(bytes::quaternionPacket(1, 2, 3, 4) + kEuler + kAltitude);
    script.feed(packet('G', code(7) + bytes::u32(57600) + code(8) + bytes::u16(50) + code(9) +
                                bytes::u16(4)));
    script.driver.disconnect();
    QVERIFY(script.driver.getQuaternion().empty());
    QVERIFY(script.driver.getEuler().empty());
    QCOMPARE(script.driver.getAltitude(), kInfinity);
    QCOMPARE(script.driver.getBaudRate(), 0);
    QCOMPARE(script.driver.getDataRate(), 0);
    QCOMPARE(script.driver.getOutputs(), static_cast<unsigned short>(0));

    script.driver.connect(script.port.path(), 115200, 8, 0, 1);
    QCOMPARE(script.driver.getQuaternion(), (Floats{1, 2, 3, 4}));
    QCOMPARE(script.driver.getEuler(), (Floats{1, 2, 3}));
    QCOMPARE(script.driver.getAltitude(), 7.0F);
    QCOMPARE(script.driver.getBaudRate(), 115200); // connect() has overwritten the reply
    QCOMPARE(script.driver.getDataRate(), 50);
    QCOMPARE(script.driver.getOutputs(), static_cast<unsigned short>(4));
}

void TestImuSamples::valuesOutliveTheConnection()
{
    ScriptedDriver script;
    script.feed(packet('G', code(9) + bytes::u16(0x0124)));
    script.driver.getOutputs();
    script.driver.disconnect();
    script.driver.connect(script.port.path(), 921600, 8, 0, 1);
    script.answerDuring(1, packet('G', code(11) + code(1)));
    QVERIFY(script.driver.saveSettings_());
    QCOMPARE(script.sent(9), hex("53 43 09 00 0B 24 01 30 00"));
}

void TestImuSamples::laterPacketReplacesTheSample()
{
    ScriptedDriver script;
    script.feed(kEuler + packet('D', code(5) + floats({4, 5, 6})));
    QCOMPARE(script.driver.getEuler(), (Floats{4, 5, 6}));
    QVERIFY(script.driver.getEuler().empty());
}

void TestImuSamples::damagedPacketChangesNothing()
{
    ScriptedDriver script;
    QByteArray damaged = kEuler;
    damaged[damaged.size() - 2] = static_cast<char>(damaged[damaged.size() - 2] + 1);
    script.feed(damaged);
    QVERIFY(script.driver.getEuler().empty());
    script.feed(kEuler);
    QCOMPARE(script.driver.getEuler(), (Floats{1, 2, 3}));
}

void TestImuSamples::signalsCarryTheBlocks()
{
    ScriptedDriver script;
    QList<QByteArray> received;
    const auto note = [&received](const char *name, std::initializer_list<float> values) {
        QByteArray text(name);
        for (const float value : values)
            text += ' ' + QByteArray::number(value);
        received.append(text);
    };
    QObject::connect(&script.driver, &imu::quaternionUpdated, this,
                     [&](float x, float y, float z, float w) {
                         note("quaternion", {x, y, z, w});
                     });
    QObject::connect(&script.driver, &imu::MagneticFieldUpdated, this,
                     [&](float x, float y, float z) {
                         note("field", {x, y, z});
                     });
    QObject::connect(&script.driver, &imu::MagneticFieldRawUpdated, this,
                     [&](float x, float y, float z) {
                         note("raw", {x, y, z});
                     });

    script.feed(packet('D', code(6) + floats({1, 2, 3}) + code(2) + floats({0.5F, -1, 0, 4}) +
                                code(5) + floats({0, 0, 0}) + code(14) + floats({4, 5, 6})));
    QCOMPARE(received, (QList<QByteArray>{"field 1 2 3", "quaternion 0.5 -1 0 4", "raw 4 5 6"}));

    // Signals are emitted whether or not a getter has returned the sample, and without a connection
    // too.
    received.clear();
    script.driver.disconnect();
    script.feed(bytes::quaternionPacket(1, 2, 3, 4) + bytes::quaternionPacket(1, 2, 3, 4));
    QCOMPARE(received.size(), 2);
}

void TestImuSamples::signalsReachALaterReceiver_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QByteArray>("block");
    QTest::newRow("quaternion") << QByteArray(SIGNAL(quaternionUpdated(float, float, float, float)))
                                << code(2) + floats({1, 2, 3, 4});
    QTest::newRow("field") << QByteArray(SIGNAL(MagneticFieldUpdated(float, float, float)))
                           << code(6) + floats({1, 2, 3});
    QTest::newRow("raw field") << QByteArray(SIGNAL(MagneticFieldRawUpdated(float, float, float)))
                               << code(14) + floats({1, 2, 3});
}

// The first packets have no receiver, as before the window connects its views.
void TestImuSamples::signalsReachALaterReceiver()
{
    QFETCH(QByteArray, signal);
    QFETCH(QByteArray, block);
    {
        ScriptedDriver script;
        script.feed(packet('D', block));
        QSignalSpy spy(&script.driver, signal.constData());
        script.feed(packet('D', block));
        QCOMPARE(spy.size(), 1);
    }
    {
        ScriptedDriver script;
        script.feed(packet('D', block));
        m_received = 0;
        QObject::connect(&script.driver, signal.constData(), this, SLOT(receive()));
        script.feed(packet('D', block));
        QCOMPARE(m_received, 1);
    }
}

void TestImuSamples::rawFieldIsTraced()
{
    ScriptedDriver script;
    static QList<QByteArray> messages;
    messages.clear();
    const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
            if (type == QtDebugMsg)
                messages.append(text.toUtf8());
        });
    script.driver.getMagneticFieldRaw();
    script.feed(packet('D', code(14) + floats({-1.5F, 5, 6})));
    script.driver.getMagneticFieldRaw();
    script.driver.getMagneticFieldRaw();
    script.feed(packet('D', code(14) + floats({2, 5, 6}) + code(6) + floats({1, 2, 3})));
    float field[3];
    script.driver.getMagneticFieldRaw_(field);
    script.driver.getMagneticField();
    qInstallMessageHandler(previous);
    QCOMPARE(messages, QList<QByteArray>{"mag raw -1.5"});
}

void TestImuSamples::syncIsAStub()
{
    ScriptedDriver script;
    QVERIFY(script.driver.setSyncEnabled(true));
    QVERIFY(!script.driver.isSyncEnabled());
    QVERIFY(script.driver.setSyncEnabled(false));
    QVERIFY(script.sent(0).isEmpty());
    script.driver.disconnect();
    QVERIFY(!script.driver.setSyncEnabled(true));
    QVERIFY(!script.driver.isSyncEnabled());
}

void TestImuSamples::processPacketReturnsWhetherItWasIntact()
{
    ScriptedDriver script;
    const auto process = [&](const QByteArray &bytes, int length) {
        const QByteArray memory = bytes + QByteArray(qsizetype(kDecoderPadding), '\0');
        return script.driver.processPacket(
            reinterpret_cast<const unsigned char *>(memory.constData()), length);
    };
    QVERIFY(process(kAltitude, 11));
    QCOMPARE(script.driver.getAltitude(), 7.0F);
    QVERIFY(!process(kAltitude, 10));
    QVERIFY(!process(hex("53 44 0B 00 03 00 00 80 3F C3 00"), 11));
    QVERIFY(process(hex("53 44 06 00 00 00"), 6));
    QCOMPARE(script.driver.getAltitude(), kInfinity);
}

QTEST_APPLESS_MAIN(TestImuSamples)
#include "test_imu_samples.moc"
