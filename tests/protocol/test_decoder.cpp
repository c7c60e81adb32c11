#include <cmath>
#include <limits>
#include <vector>

#include <QList>
#include <QTest>

#include "protocol/decoder.h"
#include "tests/fixtures/bytes.h"

using namespace protocol;
using bytes::code;
using bytes::floats;
using bytes::hex;
using bytes::packet;
using Floats = QList<float>;

namespace {

// A decoded block, with the flag at that moment.
struct Announced
{
    int block;
    Floats values;
    bool flagWasSet;
};

Floats blockValues(const SampleStore &store, int block);

struct Decoding
{
    // Decodes the bytes as one packet; in memory `behind` follows it, then zeros.
    bool operator()(const QByteArray &bytes, const QByteArray &behind = {})
    {
        QByteArray memory = bytes + behind;
        memory.append(
            std::max<qsizetype>(0, bytes.size() + qsizetype(kDecoderPadding) - memory.size()),
            '\0');
        return decodePacket(
            reinterpret_cast<const unsigned char *>(memory.constData()),
            static_cast<int>(bytes.size()), store, [this](BlockCode block) {
                announced.push_back({block, blockValues(store, block), store.fresh.test(block)});
            });
    }

    QList<int> flags() const
    {
        QList<int> set;
        for (int i = 0; i < kBlockCodeCount; ++i) {
            if (store.fresh.test(i))
                set.append(i);
        }
        return set;
    }

    SampleStore store;
    std::vector<Announced> announced;
};

template <std::size_t N>
Floats list(const std::array<float, N> &values)
{
    return {values.begin(), values.end()};
}

Floats blockValues(const SampleStore &store, int block)
{
    switch (block) {
    case 0:
        return list(store.rates);
    case 1:
        return list(store.accelerations);
    case 2:
        return list(store.quaternion);
    case 3:
        return {store.altitude};
    case 4:
        return list(store.covariances);
    case 5:
        return list(store.euler);
    case 6:
        return list(store.magneticField);
    case 14:
        return list(store.magneticFieldRaw);
    default:
        return {};
    }
}

const Floats kOneTwoThree{1, 2, 3};
// 1.0F, 2.0F, 3.0F
const QByteArray kTriple = hex("0000803F 00000040 00004040");

} // namespace

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
    void unknownCodesAreSkippedByteByByte_data();
    void unknownCodesAreSkippedByteByByte();
    void emptyPayload();
    void calibrationDataSizeStepsOneByte();
    void calibrationDataSizeValueIsScannedAsCodes();
    void calibrationDataRecords_data();
    void calibrationDataRecords();
    void calibrationDataWithoutARecord();
    void calibrationDataAtTheLimit();
    void calibrationDataPastTheLimitIsScannedAsCodes();
    void calibrationDataReplacesTheBuffer();
    void copiesRunPastTheChecksum_data();
    void copiesRunPastTheChecksum();
    void longestReadStaysWithinTheSlack();
    void damagedPacketChangesNothing_data();
    void damagedPacketChangesNothing();
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

void TestDecoder::unknownCodesAreSkippedByteByByte_data()
{
    QTest::addColumn<QByteArray>("unknown");
    QTest::newRow("24") << hex("18");
    QTest::newRow("255") << hex("FF");
    QTest::newRow("many") << hex("18 19 80 FE FF 64");
    QTest::newRow("command codes") << hex("0C 0D");
}

void TestDecoder::unknownCodesAreSkippedByteByByte()
{
    QFETCH(QByteArray, unknown);

    Decoding data;
    QVERIFY(data(packet('D', unknown + code(3) + floats({9}) + unknown)));
    QCOMPARE(data.flags(), QList{3});
    QCOMPARE(data.store.altitude, 9.0F);
    Decoding reply;
    QVERIFY(reply(packet('G', unknown + code(8) + bytes::u16(200) + unknown)));
    QCOMPARE(reply.flags(), QList{8});
    QCOMPARE(reply.store.dataRate.load(), quint16(200));
}

void TestDecoder::emptyPayload()
{
    Decoding decoding;
    QVERIFY(decoding(hex("53 44 06 00 00 00")));
    QVERIFY(decoding(hex("53 47 06 00 00 00")));
    // With length 5 the checksum consists of the length's high byte and the one payload byte.
    QVERIFY(decoding(hex("53 44 05 00 00")));
    QVERIFY(!decoding(hex("53 44 05 00 03")));
    QVERIFY(decoding.flags().isEmpty());
}

void TestDecoder::calibrationDataSizeStepsOneByte()
{
    Decoding decoding;
    QVERIFY(decoding(hex("5347 0B00 15 000C0000 2100")));
    QCOMPARE(decoding.store.calibrationDataSize.load(), 3072U);
    QCOMPARE(decoding.flags(), QList{21});
}

// Size 0x03E808 begins with byte 8, which is then read as the code of the data rate 0x03E8.
void TestDecoder::calibrationDataSizeValueIsScannedAsCodes()
{
    Decoding decoding;
    QVERIFY(decoding(hex("5347 0B00 15 08E80300 0801")));
    QCOMPARE(decoding.store.calibrationDataSize.load(), 0x03E808U);
    QCOMPARE(decoding.store.dataRate.load(), quint16(1000));
    QCOMPARE(decoding.flags(), (QList{8, 21}));
}

void TestDecoder::calibrationDataRecords_data()
{
    QTest::addColumn<int>("records");
    for (const int records : {1, 2, 3, 4, 24, 84})
        QTest::addRow("%d", records) << records;
}

void TestDecoder::calibrationDataRecords()
{
    QFETCH(int, records);

    QByteArray payload = code(20);
    for (int i = 0; i < 3 * records; ++i)
        payload += floats({static_cast<float>(i) + 0.5F});
    Decoding decoding;
    QVERIFY(decoding(packet('G', payload)));
    QCOMPARE(decoding.flags(), QList{20});
    QCOMPARE(decoding.store.calibrationFloatCount, 3 * records);
    for (int i = 0; i < 3 * records; ++i)
        QCOMPARE(decoding.store.calibration[static_cast<std::size_t>(i)],
                 static_cast<float>(i) + 0.5F);
}

void TestDecoder::calibrationDataWithoutARecord()
{
    Decoding decoding;
    decoding.store.calibrationFloatCount = 12;
    QVERIFY(decoding(hex("5347 0700 14 1400")));
    QCOMPARE(decoding.store.calibrationFloatCount, 0);
    QCOMPARE(decoding.flags(), QList{20});
}

// 1026 bytes in total, so the payload ends at byte 1024: 1019 bytes are 84 records and a partial
// one.
void TestDecoder::calibrationDataAtTheLimit()
{
    Decoding decoding;
    QVERIFY(decoding(packet('G', code(20) + QByteArray(1019, '\x11'))));
    QCOMPARE(decoding.flags(), QList{20});
    QCOMPARE(decoding.store.calibrationFloatCount, 255);
}

void TestDecoder::calibrationDataPastTheLimitIsScannedAsCodes()
{
    Decoding decoding;
    decoding.store.calibrationFloatCount = 7;
    QVERIFY(decoding(packet('G', code(20) + code(8) + bytes::u16(400) + QByteArray(1017, '\x18'))));
    QCOMPARE(decoding.store.calibrationFloatCount, 7);
    QCOMPARE(decoding.flags(), QList{8});
    QCOMPARE(decoding.store.dataRate.load(), quint16(400));
}

void TestDecoder::calibrationDataReplacesTheBuffer()
{
    Decoding decoding;
    QVERIFY(decoding(packet('G', code(20) + floats({1, 2, 3, 4, 5, 6}))));
    QVERIFY(decoding(packet('G', code(20) + floats({7, 8, 9}))));
    QCOMPARE(decoding.store.calibrationFloatCount, 3);
    QCOMPARE(decoding.store.calibration[0], 7.0F);
    QCOMPARE(decoding.store.calibration[3], 4.0F);
}

void TestDecoder::copiesRunPastTheChecksum_data()
{
    QTest::addColumn<char>("type");
    QTest::addColumn<int>("block");
    for (const int block : {0, 1, 2, 3, 4, 5, 6, 14})
        QTest::addRow("data %d", block) << 'D' << block;
    for (const int block : {7, 8, 9, 15, 16, 17, 21, 23})
        QTest::addRow("reply %d", block) << 'G' << block;
}

// A code in the last payload byte reads its value from the checksum and the older bytes after it.
void TestDecoder::copiesRunPastTheChecksum()
{
    QFETCH(char, type);
    QFETCH(int, block);

    const QByteArray stale = hex("A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE") + QByteArray(36, 'z');
    const QByteArray bytes = packet(type, code(block));
    const QByteArray taken = bytes.last(2) + stale;
    Decoding decoding;
    QVERIFY(decoding(bytes, stale));
    QCOMPARE(decoding.flags(), QList{block});

    const auto at = [&](qsizetype offset) {
        return reinterpret_cast<const unsigned char *>(taken.constData()) + offset;
    };
    const Floats values = blockValues(decoding.store, block);
    for (qsizetype i = 0; i < values.size(); ++i)
        QCOMPARE(values[i], readField<float>(at(4 * i)));
    if (block == 7)
        QCOMPARE(decoding.store.baudRate.load(), readField<quint32>(at(0)));
    if (block == 15)
        QCOMPARE(decoding.store.magneticMatrix[8], readField<float>(at(44)));
    if (block == 16)
        QCOMPARE(decoding.store.hardwareVersion.load(), readField<quint16>(at(2)));
    if (block == 21)
        QCOMPARE(decoding.store.calibrationDataSize.load(), readField<quint32>(at(0)));
}

// The longest read beyond a packet: 48 bytes after a code in the last payload byte. The packet
// stands at the end of the memory that the contract requires.
void TestDecoder::longestReadStaysWithinTheSlack()
{
    const QByteArray bytes = packet('G', QByteArray(4089, '\xFF') + code(15));
    QCOMPARE(bytes.size(), 4096);
    Decoding decoding;
    QVERIFY(decoding(bytes));
    QCOMPARE(decoding.flags(), QList{15});
}

void TestDecoder::damagedPacketChangesNothing_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("checksum one too high") << hex("5344 0B00 03 0000803F C300");
    QTest::newRow("checksum one too low") << hex("5344 0B00 03 0000803F C100");
    QTest::newRow("checksum's high byte") << hex("5344 0B00 03 0000803F C201");
    QTest::newRow("payload bit") << hex("5344 0B00 03 0000803E C200");
    QTest::newRow("checksum bytes swapped") << hex("5344 0B00 03 0000803F 00C2");
    QTest::newRow("stated length above the bytes there") << hex("5344 0C00 03 0000803F C200");
    QTest::newRow("header covered by the sum") << hex("5344 0B00 03 0000803F 6401");
    QTest::newRow("length 0") << hex("5344 0000 03 0000803F C200");
    QTest::newRow("length 1") << hex("5344 0100 03 0000803F C200");
    QTest::newRow("length 4") << hex("5344 0400 03 0000803F C200");
    QTest::newRow("three bytes") << hex("534406");
    QTest::newRow("no bytes") << QByteArray();
}

void TestDecoder::damagedPacketChangesNothing()
{
    QFETCH(QByteArray, bytes);

    Decoding decoding;
    QVERIFY(!decoding(bytes));
    QVERIFY(decoding.flags().isEmpty());
    QVERIFY(decoding.announced.empty());
    QCOMPARE(decoding.store.altitude, 0.0F);
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
