// The calibration dialog and a simulated device: points that the device has stored.

#include <algorithm>
#include <cmath>

#include <QApplication>

#include "tests/dialogs/calibration_fixture.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

class TestMagnetoCalibrationStored : public QObject, private CalibrationFixture
{
    Q_OBJECT

private slots:
    void initTestCase() { startDriver(); }
    void init() { openDialog(); }
    void cleanup() { closeDialog(); }

    void asksForStoredBlocks_data();
    void asksForStoredBlocks();
    void loadSilencesTheDevice();
    void loadFitsStoredPoints();
    void loadLeavesOutABlockThatFails();
    void loadDropsIncompletePoints();
    void loadIsRefusedWhileCollecting();
};

void TestMagnetoCalibrationStored::asksForStoredBlocks_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<std::vector<Packet>>("requests");
    QTest::newRow("none") << 0 << std::vector<Packet>{};
    const Packet first{'S', 'C', 15, 0, 20, 0, 0, 0, 0, 128, 0, 0, 0, 148, 0};
    const Packet second{'S', 'C', 15, 0, 20, 128, 0, 0, 0, 0, 1, 0, 0, 149, 0};
    QTest::newRow("20: fewer than the spare bytes")
        << 20
        << std::vector<Packet>{
               {'S', 'C', 15, 0, 20, 0, 0, 0, 0, 0xF4, 0xFF, 0xFF, 0xFF, 0x05, 0x04}};
    QTest::newRow("128") << 128 << std::vector<Packet>{first};
    QTest::newRow("160: nothing left but spare bytes")
        << 160
        << std::vector<Packet>{first, {'S', 'C', 15, 0, 20, 128, 0, 0, 0, 0, 0, 0, 0, 148, 0}};
    QTest::newRow("256") << 256 << std::vector<Packet>{first, second};
    QTest::newRow("300") << 300
                         << std::vector<Packet>{
                                first,
                                second,
                                {'S', 'C', 15, 0, 20, 0, 1, 0, 0, 12, 0, 0, 0, 33, 0}};
}

void TestMagnetoCalibrationStored::asksForStoredBlocks()
{
    QFETCH(int, size);
    QFETCH(std::vector<Packet>, requests);
    store(Packet(static_cast<std::size_t>(size)));
    click(u"pushButton"_s);
    QCOMPARE(commands(20), requests);

    QStringList expected{u"Reading %1 bytes ..."_s.arg(size)};
    for (std::size_t i = 0; i < requests.size(); ++i)
        expected << u"Reading block %1"_s.arg(i * 128);
    QStringList written = log();
    written.removeAll(u" Read failed"_s);
    QCOMPARE(written.mid(0, expected.size()), expected);
    QCOMPARE(size == 0, written.size() == 1);
}

// The order matters: outputs off before the first request, mask restored after the last.
void TestMagnetoCalibrationStored::loadSilencesTheDevice()
{
    setMask(0x0107);
    store(Packet(128));
    click(u"pushButton"_s);
    std::vector<int> order;
    for (const Packet &packet : m_device->receivedCommands()) {
        if (packet[4] == 13 && packet[5] == 9)
            order.push_back(packet[6] | packet[7] << 8);
        else if (packet[4] == 20 || packet[4] == 21)
            order.push_back(-packet[4]);
    }
    order.erase(std::unique(order.begin(), order.end()), order.end());
    QCOMPARE(order, (std::vector<int>{0, -21, -20, 0x0107}));
    QCOMPARE(working().outputs, 0x0107);
}

void TestMagnetoCalibrationStored::loadFitsStoredPoints()
{
    storePoints(Maker(1).samples(someEllipsoid(), 24));
    click(u"pushButton"_s);
    QCOMPARE(
        log().mid(0, 7),
        (QStringList{u"Reading 512 bytes ..."_s, u"Reading block 0"_s, u"Reading block 128"_s,
                     u"Reading block 256"_s, u"Reading block 384"_s,
                     u"Data load successful from device: 24 points"_s, u"Calibration stopped."_s}));
    QCOMPARE(log().size(), 8);
    QVERIFY2(log()[7].startsWith(u"Final Quality: avg|p|=1, std|p|="_s), qPrintable(log()[7]));
    QVERIFY2(log()[7].endsWith(u", N=24, Good"_s), qPrintable(log()[7]));
    QVERIFY(std::abs(figure(u"biasXLineEdit"_s) - 12.5) < 1e-3);
    QVERIFY(std::abs(figure(u"biasYLineEdit"_s) + 7.25) < 1e-3);
    QVERIFY(std::abs(figure(u"biasZLineEdit"_s) - 3) < 1e-3);
    QCOMPARE(view()->correctedSamples().size(), 24U);
    QVERIFY(view()->rawSamples().empty());
    for (const QVector3D &point : view()->correctedSamples())
        QVERIFY(std::abs(point.length() - 1) < 1e-4F);

    // With fewer points the view clears the cloud.
    storePoints(Maker(1).samples(someEllipsoid(), 18));
    click(u"pushButton"_s);
    QVERIFY(view()->correctedSamples().empty());
    QVERIFY2(log().last().contains(u"N=18, "_s), qPrintable(log().last()));
}

// The device ignores all attempts for the first block.
void TestMagnetoCalibrationStored::loadLeavesOutABlockThatFails()
{
    storePoints(Maker(1).samples(someEllipsoid(), 30));
    m_device->change([](sim::ImuSimulator &d) { d.faults().ignoreFirst[20] = kBlockAttempts; });
    click(u"pushButton"_s);
    QCOMPARE(log().mid(0, 5),
             (QStringList{u"Reading 640 bytes ..."_s, u"Reading block 0"_s, u" Read failed"_s,
                          u"Reading block 128"_s, u"Reading block 256"_s}));
    QVERIFY(log().contains(u"Data load successful from device: 24 points"_s));
    QVERIFY2(log().last().endsWith(u", N=24, Good"_s), qPrintable(log().last()));
    QCOMPARE(log().count(u" Read failed"_s), 1);
}

// 80 bytes are requested as (0, 48), twelve floats. The driver uses ten of them: three points and
// one spare float, which is dropped. With fewer than twelve floats the read fails.
void TestMagnetoCalibrationStored::loadDropsIncompletePoints()
{
    Packet bytes(80);
    for (std::size_t i = 0; i < 12; ++i)
        protocol::writeField(&bytes[4 * i], static_cast<float>(i + 1));
    store(bytes);
    click(u"pushButton"_s);
    QCOMPARE(log().mid(0, 3), (QStringList{u"Reading 80 bytes ..."_s, u"Reading block 0"_s,
                                           u"Data load successful from device: 3 points"_s}));
    QVERIFY2(log()[log().size() - 2].contains(u"N=3, "_s), qPrintable(log().join(u'\n')));
    QCOMPARE(log().last(), kTooFew);

    store(Packet(64));
    click(u"pushButton"_s);
    QCOMPARE(log().mid(log().size() - 5),
             (QStringList{u"Reading block 0"_s, u" Read failed"_s,
                          u"Data load successful from device: 0 points"_s,
                          u"Calibration stopped."_s, u"No samples collected!"_s}));
}

void TestMagnetoCalibrationStored::loadIsRefusedWhileCollecting()
{
    store(Packet(128));
    click(u"push_start_calib"_s);
    click(u"pushButton"_s);
    QCOMPARE(log(), QStringList{u"Calibration started..."_s});
    QVERIFY(m_device->receivedCommands().empty());
}

VORNIX_TEST_MAIN(TestMagnetoCalibrationStored, QApplication)
#include "test_magneto_calibration_stored.moc"
