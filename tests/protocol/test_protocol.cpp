#include <QTest>

#include "protocol/protocol.h"
#include "tests/fixtures/bytes.h"

using bytes::hex;

namespace {

QByteArray prepared(char type, const QByteArray &payload)
{
    QByteArray out(payload.size() + 6, '\xAA');
    const auto *data = reinterpret_cast<const unsigned char *>(payload.constData());
    const std::size_t length = protocol::preparePacket(
        static_cast<unsigned char>(type), {data, static_cast<std::size_t>(payload.size())},
        reinterpret_cast<unsigned char *>(out.data()));
    return length == static_cast<std::size_t>(out.size()) ? out : QByteArray();
}

bool isIntact(const QByteArray &packet)
{
    return protocol::isIntact(reinterpret_cast<const unsigned char *>(packet.constData()),
                              static_cast<int>(packet.size()));
}

} // namespace

class TestProtocol : public QObject
{
    Q_OBJECT

private slots:
    void blockCodes();
    void outputsBits();
    void preparePacket_data();
    void preparePacket();
    void checksumIsTruncatedTo16Bits();
    void intactPackets_data();
    void intactPackets();
    void fieldsAreLittleEndianAtAnyOffset();
};

// The device defines these numbers: constants may be renamed, but not renumbered.
void TestProtocol::blockCodes()
{
    using namespace protocol;
    const QList<int> inOrder{RATES,
                             ACCELERATIONS,
                             QUATERNION,
                             ALTITUDE,
                             COVARIANCES,
                             EULER,
                             MAGNETIC_FIELD,
                             BAUD_RATE,
                             DATA_RATE,
                             OUTPUTS,
                             FACTORY_RESET,
                             SAVE_SETTINGS,
                             GET,
                             SET,
                             MAGNETIC_FIELD_RAW,
                             MAG_CALIBRATION,
                             VERSIONS,
                             SERIAL_NUMBER,
                             START_CALIBRATION,
                             STOP_CALIBRATION,
                             CALIBRATION_DATA,
                             CALIBRATION_DATA_SIZE,
                             RESERVED_22,
                             ZERO_THRESHOLD};
    QCOMPARE(inOrder.size(), kBlockCodeCount);
    for (int code = 0; code < kBlockCodeCount; ++code)
        QCOMPARE(inOrder[code], code);
}

void TestProtocol::outputsBits()
{
    using namespace protocol;
    const QList<unsigned> inOrder{
        OUT_RATES, OUT_ACCELERATIONS,  OUT_QUATERNION, OUT_ALTITUDE,           OUT_COVARIANCES,
        OUT_EULER, OUT_MAGNETIC_FIELD, OUT_SYNC,       OUT_MAGNETIC_FIELD_RAW, OUT_RESERVED_9};
    for (int bit = 0; bit < inOrder.size(); ++bit)
        QCOMPARE(inOrder[bit], 1U << bit);
}

void TestProtocol::preparePacket_data()
{
    QTest::addColumn<char>("type");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QByteArray>("packet");

    QTest::newRow("empty command") << 'C' << QByteArray() << hex("53 43 06 00 00 00");
    QTest::newRow("empty data") << 'D' << QByteArray() << hex("53 44 06 00 00 00");
    QTest::newRow("one byte") << 'C' << hex("12") << hex("53 43 07 00 12 12 00");
    QTest::newRow("altitude 1.0") << 'D' << hex("03 00 00 80 3F")
                                  << hex("53 44 0B 00 03 00 00 80 3F C2 00");
    QTest::newRow("data rate 1000") << 'G' << hex("08 E8 03") << hex("53 47 09 00 08 E8 03 F3 00");
    QTest::newRow("sum above 255") << 'G' << hex("FF FF FF") << hex("53 47 09 00 FF FF FF FD 02");
    QTest::newRow("255 bytes") << 'C' << QByteArray(255, '\x01')
                               << hex("53 43 05 01") + QByteArray(255, '\x01') + hex("FF 00");
}

void TestProtocol::preparePacket()
{
    QFETCH(char, type);
    QFETCH(QByteArray, payload);
    QFETCH(QByteArray, packet);

    QCOMPARE(prepared(type, payload), packet);
    QVERIFY(isIntact(packet));
}

// 300 bytes of 255 add up to 76500, 0x12AD4.
void TestProtocol::checksumIsTruncatedTo16Bits()
{
    const QByteArray packet = prepared('D', QByteArray(300, '\xFF'));
    QCOMPARE(packet.last(2), hex("D4 2A"));
    QVERIFY(isIntact(packet));
}

void TestProtocol::intactPackets_data()
{
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<bool>("intact");

    QTest::newRow("right") << hex("53 44 08 00 01 02 03 00") << true;
    QTest::newRow("sum one low") << hex("53 44 08 00 01 02 02 00") << false;
    QTest::newRow("sum one high") << hex("53 44 08 00 01 02 04 00") << false;
    QTest::newRow("sum's high byte") << hex("53 44 08 00 01 02 03 01") << false;
    QTest::newRow("bytes behind the stated length") << hex("53 44 08 00 01 02 03 00 99") << true;
    QTest::newRow("one byte missing") << hex("53 44 08 00 01 02 03") << false;
    QTest::newRow("stated one more than there is") << hex("53 44 09 00 01 02 03 00") << false;
    // With length 5 the checksum of an empty payload is compared with the length's high byte and
    // the payload byte.
    QTest::newRow("length 5, byte 0") << hex("53 44 05 00 00") << true;
    QTest::newRow("length 5, byte 1") << hex("53 44 05 00 01") << false;
    QTest::newRow("length 4") << hex("53 44 04 00") << false;
    QTest::newRow("length 3") << hex("53 44 03 00") << false;
    QTest::newRow("length 2") << hex("53 44 02 00") << false;
    QTest::newRow("length 1") << hex("53 44 01 00") << false;
    QTest::newRow("length 0") << hex("53 44 00 00") << false;
    QTest::newRow("less than a header") << hex("53 44 06") << false;
    QTest::newRow("nothing") << QByteArray() << false;
}

void TestProtocol::intactPackets()
{
    QFETCH(QByteArray, packet);
    QFETCH(bool, intact);
    QCOMPARE(isIntact(packet), intact);
}

void TestProtocol::fieldsAreLittleEndianAtAnyOffset()
{
    const QByteArray bytes = hex("FF 78 56 34 12 00 00 80 3F");
    const auto *data = reinterpret_cast<const unsigned char *>(bytes.constData());
    QCOMPARE(protocol::readField<std::uint16_t>(data + 1), std::uint16_t(0x5678));
    QCOMPARE(protocol::readField<std::uint32_t>(data + 1), 0x12345678U);
    QCOMPARE(protocol::readField<float>(data + 5), 1.0F);

    QByteArray written(9, '\0');
    auto *out = reinterpret_cast<unsigned char *>(written.data());
    protocol::writeField(out, std::uint16_t(0x5678));
    protocol::writeField(out + 2, std::uint32_t(0x12345678));
    protocol::writeField(out + 6, static_cast<unsigned char>(23));
    QCOMPARE(written, hex("78 56 78 56 34 12 17 00 00"));
}

QTEST_APPLESS_MAIN(TestProtocol)
#include "test_protocol.moc"
