#include <QList>
#include <QTest>

#include "tests/fixtures/bytes.h"
#include "tests/protocol/decoding.h"

using bytes::code;
using bytes::floats;
using bytes::hex;
using bytes::packet;
using namespace protocol_test;

// Which bytes the decoder takes as codes and values: unknown codes, calibration data of any length,
// values beyond the end of a packet, damaged packets.
class TestDecoderBounds : public QObject
{
    Q_OBJECT

private slots:
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
};

void TestDecoderBounds::unknownCodesAreSkippedByteByByte_data()
{
    QTest::addColumn<QByteArray>("unknown");
    QTest::newRow("24") << hex("18");
    QTest::newRow("255") << hex("FF");
    QTest::newRow("many") << hex("18 19 80 FE FF 64");
    QTest::newRow("command codes") << hex("0C 0D");
}

void TestDecoderBounds::unknownCodesAreSkippedByteByByte()
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

void TestDecoderBounds::emptyPayload()
{
    Decoding decoding;
    QVERIFY(decoding(hex("53 44 06 00 00 00")));
    QVERIFY(decoding(hex("53 47 06 00 00 00")));
    // With length 5 the checksum consists of the length's high byte and the one payload byte.
    QVERIFY(decoding(hex("53 44 05 00 00")));
    QVERIFY(!decoding(hex("53 44 05 00 03")));
    QVERIFY(decoding.flags().isEmpty());
}

void TestDecoderBounds::calibrationDataSizeStepsOneByte()
{
    Decoding decoding;
    QVERIFY(decoding(hex("5347 0B00 15 000C0000 2100")));
    QCOMPARE(decoding.store.calibrationDataSize.load(), 3072U);
    QCOMPARE(decoding.flags(), QList{21});
}

// Size 0x03E808 begins with byte 8, which is then read as the code of the data rate 0x03E8.
void TestDecoderBounds::calibrationDataSizeValueIsScannedAsCodes()
{
    Decoding decoding;
    QVERIFY(decoding(hex("5347 0B00 15 08E80300 0801")));
    QCOMPARE(decoding.store.calibrationDataSize.load(), 0x03E808U);
    QCOMPARE(decoding.store.dataRate.load(), quint16(1000));
    QCOMPARE(decoding.flags(), (QList{8, 21}));
}

void TestDecoderBounds::calibrationDataRecords_data()
{
    QTest::addColumn<int>("records");
    for (const int records : {1, 2, 3, 4, 24, 84})
        QTest::addRow("%d", records) << records;
}

void TestDecoderBounds::calibrationDataRecords()
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

void TestDecoderBounds::calibrationDataWithoutARecord()
{
    Decoding decoding;
    decoding.store.calibrationFloatCount = 12;
    QVERIFY(decoding(hex("5347 0700 14 1400")));
    QCOMPARE(decoding.store.calibrationFloatCount, 0);
    QCOMPARE(decoding.flags(), QList{20});
}

// 1026 bytes in total, so the payload ends at byte 1024: 1019 bytes are 84 records and a partial
// one.
void TestDecoderBounds::calibrationDataAtTheLimit()
{
    Decoding decoding;
    QVERIFY(decoding(packet('G', code(20) + QByteArray(1019, '\x11'))));
    QCOMPARE(decoding.flags(), QList{20});
    QCOMPARE(decoding.store.calibrationFloatCount, 255);
}

void TestDecoderBounds::calibrationDataPastTheLimitIsScannedAsCodes()
{
    Decoding decoding;
    decoding.store.calibrationFloatCount = 7;
    QVERIFY(decoding(packet('G', code(20) + code(8) + bytes::u16(400) + QByteArray(1017, '\x18'))));
    QCOMPARE(decoding.store.calibrationFloatCount, 7);
    QCOMPARE(decoding.flags(), QList{8});
    QCOMPARE(decoding.store.dataRate.load(), quint16(400));
}

void TestDecoderBounds::calibrationDataReplacesTheBuffer()
{
    Decoding decoding;
    QVERIFY(decoding(packet('G', code(20) + floats({1, 2, 3, 4, 5, 6}))));
    QVERIFY(decoding(packet('G', code(20) + floats({7, 8, 9}))));
    QCOMPARE(decoding.store.calibrationFloatCount, 3);
    QCOMPARE(decoding.store.calibration[0], 7.0F);
    QCOMPARE(decoding.store.calibration[3], 4.0F);
}

void TestDecoderBounds::copiesRunPastTheChecksum_data()
{
    QTest::addColumn<char>("type");
    QTest::addColumn<int>("block");
    for (const int block : {0, 1, 2, 3, 4, 5, 6, 14})
        QTest::addRow("data %d", block) << 'D' << block;
    for (const int block : {7, 8, 9, 15, 16, 17, 21, 23})
        QTest::addRow("reply %d", block) << 'G' << block;
}

// A code in the last payload byte reads its value from the checksum and the older bytes after it.
void TestDecoderBounds::copiesRunPastTheChecksum()
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
        QCOMPARE(values[i], protocol::readField<float>(at(4 * i)));
    if (block == 7)
        QCOMPARE(decoding.store.baudRate.load(), protocol::readField<quint32>(at(0)));
    if (block == 15)
        QCOMPARE(decoding.store.magneticMatrix[8], protocol::readField<float>(at(44)));
    if (block == 16)
        QCOMPARE(decoding.store.hardwareVersion.load(), protocol::readField<quint16>(at(2)));
    if (block == 21)
        QCOMPARE(decoding.store.calibrationDataSize.load(), protocol::readField<quint32>(at(0)));
}

// The longest read beyond a packet: 48 bytes after a code in the last payload byte. The packet
// stands at the end of the memory that the contract requires.
void TestDecoderBounds::longestReadStaysWithinTheSlack()
{
    const QByteArray bytes = packet('G', QByteArray(4089, '\xFF') + code(15));
    QCOMPARE(bytes.size(), 4096);
    Decoding decoding;
    QVERIFY(decoding(bytes));
    QCOMPARE(decoding.flags(), QList{15});
}

void TestDecoderBounds::damagedPacketChangesNothing_data()
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

void TestDecoderBounds::damagedPacketChangesNothing()
{
    QFETCH(QByteArray, bytes);

    Decoding decoding;
    QVERIFY(!decoding(bytes));
    QVERIFY(decoding.flags().isEmpty());
    QVERIFY(decoding.announced.empty());
    QCOMPARE(decoding.store.altitude, 0.0F);
}

QTEST_APPLESS_MAIN(TestDecoderBounds)
#include "test_decoder_bounds.moc"
