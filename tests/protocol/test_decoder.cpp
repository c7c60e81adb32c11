#include <bit>

#include <QList>
#include <QTest>

#include "tests/fixtures/bytes.h"
#include "tests/protocol/decoding.h"

using bytes::code;
using bytes::floats;
using bytes::hex;
using bytes::packet;
using namespace protocol_test;

namespace {

const Floats kOneTwoThree{1, 2, 3};
// 1.0F, 2.0F, 3.0F
const QByteArray kTriple = hex("0000803F 00000040 00004040");

} // namespace

// The value of every block and reply, with its flag.
class TestDecoder : public QObject
{
    Q_OBJECT

private slots:
    void initialValues();
    void dataBlock_data();
    void dataBlock();
    void reservedBlockIsSkipped();
    void settingsReply_data();
    void settingsReply();
    void versionsReply();
    void magneticCalibrationReply();
    void zeroThresholdReply();
    void statusReply_data();
    void statusReply();
    void typeDecidesWhatACodeMeans_data();
    void typeDecidesWhatACodeMeans();
    void severalBlocksInOnePacket();
    void allBlocksInOnePacket();
    void blocksAreAnnouncedAfterTheFlagIsSet();
    void secondPacketOverwritesTheFirst();
    void valuesAreStoredBitForBit();
};

void TestDecoder::initialValues()
{
    const Decoding decoding;
    QCOMPARE(list(decoding.store.quaternion), (Floats{0, 0, 0, 1}));
    for (const int block : {0, 1, 4, 5, 6, 14})
        QCOMPARE(blockValues(decoding.store, block), (Floats{0, 0, 0}));
    QCOMPARE(decoding.store.altitude, 0.0F);
    QCOMPARE(decoding.store.calibrationFloatCount, 0);
    QCOMPARE(decoding.store.baudRate.load(), 0U);
    QVERIFY(decoding.flags().isEmpty());
}

void TestDecoder::dataBlock_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("block");
    QTest::addColumn<Floats>("values");

    // A complete packet: sync, type, length, code, floats, checksum.
    QTest::newRow("rates") << hex("5344 1300 00 0000803F 00000040 00004040 7F01") << 0
                           << kOneTwoThree;
    QTest::newRow("accelerations")
        << hex("5344 1300 01 0000803F 00000040 00004040 8001") << 1 << kOneTwoThree;
    QTest::newRow("quaternion") << hex("5344 1700 02 0000003F 000000BF 0000003F 0000003F 7E01") << 2
                                << Floats{0.5F, -0.5F, 0.5F, 0.5F};
    QTest::newRow("altitude") << hex("5344 0B00 03 0000803F C200") << 3 << Floats{1};
    QTest::newRow("covariances") << hex("5344 1300 04 0000803F 00000040 00004040 8301") << 4
                                 << kOneTwoThree;
    QTest::newRow("Euler") << hex("5344 1300 05 0000803F 00000040 00004040 8401") << 5
                           << kOneTwoThree;
    QTest::newRow("magnetic field")
        << hex("5344 1300 06 0000803F 00000040 00004040 8501") << 6 << kOneTwoThree;
    QTest::newRow("raw magnetic field")
        << hex("5344 1300 0E 0000803F 00000040 00004040 8D01") << 14 << kOneTwoThree;
}

void TestDecoder::dataBlock()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, block);
    QFETCH(Floats, values);

    Decoding decoding;
    QVERIFY(decoding(bytes));
    QCOMPARE(decoding.flags(), QList{block});
    QCOMPARE(blockValues(decoding.store, block), values);
    const Decoding untouched;
    for (const int other : {0, 1, 2, 3, 4, 5, 6, 14}) {
        if (other != block)
            QCOMPARE(blockValues(decoding.store, other), blockValues(untouched.store, other));
    }
}

void TestDecoder::reservedBlockIsSkipped()
{
    // The decoder must skip the 36 bytes: read as codes they would be quaternion blocks.
    Decoding decoding;
    QVERIFY(decoding(packet('D', code(22) + QByteArray(36, '\x02') + code(3) + floats({7}))));
    QCOMPARE(decoding.flags(), (QList{3, 22}));
    QCOMPARE(decoding.store.altitude, 7.0F);
}

void TestDecoder::settingsReply_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("block");
    QTest::addColumn<quint32>("value");

    QTest::newRow("baud rate") << hex("5347 0B00 07 00C20100 CA00") << 7 << 115200U;
    QTest::newRow("data rate") << hex("5347 0900 08 E803 F300") << 8 << 1000U;
    QTest::newRow("outputs") << hex("5347 0900 09 6702 7200") << 9 << 0x0267U;
    QTest::newRow("serial number") << hex("5347 0B00 11 78563412 2501") << 17 << 0x12345678U;
}

void TestDecoder::settingsReply()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, block);
    QFETCH(quint32, value);

    Decoding decoding;
    QVERIFY(decoding(bytes));
    QCOMPARE(decoding.flags(), QList{block});
    QCOMPARE(decoding.store.baudRate.load(), block == 7 ? value : 0U);
    QCOMPARE(decoding.store.dataRate.load(), static_cast<quint16>(block == 8 ? value : 0U));
    QCOMPARE(decoding.store.outputs.load(), static_cast<quint16>(block == 9 ? value : 0U));
    QCOMPARE(decoding.store.serialNumber.load(), block == 17 ? value : 0U);
}

void TestDecoder::versionsReply()
{
    Decoding decoding;
    QVERIFY(decoding(hex("5347 0B00 10 0201 0403 1A00")));
    QCOMPARE(decoding.flags(), QList{16});
    QCOMPARE(decoding.store.firmwareVersion.load(), quint16(0x0102));
    QCOMPARE(decoding.store.hardwareVersion.load(), quint16(0x0304));
}

void TestDecoder::magneticCalibrationReply()
{
    Decoding decoding;
    QVERIFY(decoding(packet('G', code(15) + floats({1, 2, 3}) +
                                     floats({11, 12, 13, 21, 22, 23, 31, 32, 33}) + code(8) +
                                     bytes::u16(100))));
    QCOMPARE(list(decoding.store.magneticBias), kOneTwoThree);
    QCOMPARE(list(decoding.store.magneticMatrix), (Floats{11, 12, 13, 21, 22, 23, 31, 32, 33}));
    QCOMPARE(decoding.store.dataRate.load(), quint16(100));
    QCOMPARE(decoding.flags(), (QList{8, 15}));
}

void TestDecoder::zeroThresholdReply()
{
    Decoding decoding;
    QVERIFY(decoding(hex("5347 0B00 17 0AD7A33C D701")));
    QCOMPARE(decoding.store.zeroThreshold.load(), 0.02F);
    QCOMPARE(decoding.flags(), QList{23});
}

void TestDecoder::statusReply_data()
{
    QTest::addColumn<int>("block");
    QTest::addColumn<int>("status");
    for (const int block : {10, 11, 18, 19}) {
        for (const int status : {0, 1, 2, 255})
            QTest::addRow("code %d status %d", block, status) << block << status;
    }
}

// Only status 1 sets the flag; the status byte is never read as a code.
void TestDecoder::statusReply()
{
    QFETCH(int, block);
    QFETCH(int, status);

    Decoding decoding;
    QVERIFY(decoding(packet('G', code(block) + code(status) + code(8) + bytes::u16(50))));
    QCOMPARE(decoding.store.fresh.test(block), status == 1);
    QCOMPARE(decoding.store.dataRate.load(), quint16(50));
    QCOMPARE(decoding.flags().size(), status == 1 ? 2 : 1);
}

void TestDecoder::typeDecidesWhatACodeMeans_data()
{
    QTest::addColumn<char>("type");
    QTest::addColumn<int>("block");
    for (const int reply : {7, 8, 9, 10, 11, 12, 13, 15, 16, 17, 18, 19, 20, 21, 23})
        QTest::addRow("code %d as data", reply) << 'D' << reply;
    for (const int data : {0, 1, 2, 3, 4, 5, 6, 12, 13, 14, 22})
        QTest::addRow("code %d as reply", data) << 'G' << data;
    for (int any = 0; any < 24; ++any)
        QTest::addRow("code %d as command", any) << 'C' << any;
}

void TestDecoder::typeDecidesWhatACodeMeans()
{
    QFETCH(char, type);
    QFETCH(int, block);

    Decoding decoding;
    QVERIFY(decoding(packet(type, code(block) + QByteArray(48, '\xFF'))));
    QVERIFY(decoding.flags().isEmpty());
    QVERIFY(decoding.announced.empty());
}

void TestDecoder::severalBlocksInOnePacket()
{
    Decoding decoding;
    QVERIFY(decoding(packet('D', code(2) + floats({0, 0, 0, 1}) + code(5) + kTriple)));
    QCOMPARE(decoding.flags(), (QList{2, 5}));
    QCOMPARE(list(decoding.store.euler), kOneTwoThree);
    QCOMPARE(decoding.announced.size(), std::size_t(2));
    QCOMPARE(decoding.announced[0].block, 2);
    QCOMPARE(decoding.announced[1].block, 5);
}

void TestDecoder::allBlocksInOnePacket()
{
    QByteArray payload;
    float next = 1;
    for (const int block : {14, 6, 5, 4, 3, 2, 1, 0}) {
        payload += code(block);
        const int count = block == 2 ? 4 : block == 3 ? 1 : 3;
        for (int i = 0; i < count; ++i)
            payload += floats({next++});
    }
    Decoding decoding;
    QVERIFY(decoding(packet('D', payload)));
    QCOMPARE(decoding.flags(), (QList{0, 1, 2, 3, 4, 5, 6, 14}));
    QCOMPARE(blockValues(decoding.store, 14), (Floats{1, 2, 3}));
    QCOMPARE(blockValues(decoding.store, 3), Floats{13});
    QCOMPARE(blockValues(decoding.store, 2), (Floats{14, 15, 16, 17}));
    QCOMPARE(blockValues(decoding.store, 0), (Floats{21, 22, 23}));
}

void TestDecoder::blocksAreAnnouncedAfterTheFlagIsSet()
{
    Decoding decoding;
    QVERIFY(decoding(packet('D', code(14) + kTriple + code(2) + floats({1, 2, 3, 4}) + code(6) +
                                     floats({4, 5, 6}))));
    const auto &blocks = decoding.announced;
    QCOMPARE(blocks.size(), std::size_t(3));
    QCOMPARE(blocks[0].block, 14);
    QCOMPARE(blocks[0].values, kOneTwoThree);
    QCOMPARE(blocks[1].block, 2);
    QCOMPARE(blocks[1].values, (Floats{1, 2, 3, 4}));
    QCOMPARE(blocks[2].block, 6);
    QCOMPARE(blocks[2].values, (Floats{4, 5, 6}));
    for (const Announced &each : blocks)
        QVERIFY(each.flagWasSet);
}

void TestDecoder::secondPacketOverwritesTheFirst()
{
    Decoding decoding;
    QVERIFY(decoding(packet('D', code(3) + floats({1}))));
    QVERIFY(decoding(packet('D', code(3) + floats({2}))));
    QCOMPARE(decoding.store.altitude, 2.0F);
    QVERIFY(decoding.store.fresh.testAndClear(3));
    QVERIFY(!decoding.store.fresh.testAndClear(3));
}

void TestDecoder::valuesAreStoredBitForBit()
{
    Decoding decoding;
    // A signalling NaN with a payload, minus zero, the smallest denormal.
    QVERIFY(decoding(packet('D', code(0) + hex("0100A07F 00000080 01000000"))));
    const auto bits = [&](std::size_t i) {
        return std::bit_cast<quint32>(decoding.store.rates[i]);
    };
    QCOMPARE(bits(0), 0x7FA00001U);
    QCOMPARE(bits(1), 0x80000000U);
    QCOMPARE(bits(2), 1U);
}

QTEST_APPLESS_MAIN(TestDecoder)
#include "test_decoder.moc"
