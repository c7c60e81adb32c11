#include <QList>
#include <QTest>

#include "protocol/framer.h"
#include "tests/fixtures/bytes.h"

using bytes::hex;

namespace {

bool feedOne(Framer &framer, char byte)
{
    return framer.feed(static_cast<unsigned char>(byte));
}

QByteArray packetIn(const Framer &framer)
{
    return {reinterpret_cast<const char *>(framer.packet()), framer.length()};
}

QList<QByteArray> feedAll(Framer &framer, const QByteArray &stream)
{
    QList<QByteArray> packets;
    for (const char byte : stream) {
        if (feedOne(framer, byte))
            packets.append(packetIn(framer));
    }
    return packets;
}

const QByteArray kAltitude = hex("53 44 0B 00 03 00 00 80 3F C2 00"); // 1.0F
const QByteArray kDataRate = hex("53 47 09 00 08 E8 03 F3 00");       // 1000

} // namespace

class TestFramer : public QObject
{
    Q_OBJECT

private slots:
    void statesByteByByte_data();
    void statesByteByByte();
    void packetsInStream_data();
    void packetsInStream();
    void cutAtEveryPoint();
    void lostByteDamagesOnlyTheNextPacket();
    void invalidLengthDropsOneMoreByte_data();
    void invalidLengthDropsOneMoreByte();
    void lengthFiveCompletesAfterOneByte();
    void shortLengthEndsWhenTheBufferIsFull_data();
    void shortLengthEndsWhenTheBufferIsFull();
    void longestPacket();
    void resetDropsThePacketInProgress();
    void slackBehindThePacketIsReadable();
};

// The state after each byte; 'P' where the byte completed a packet.
void TestFramer::statesByteByByte_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QByteArray>("states");

    QTest::newRow("data packet") << kAltitude << QByteArray("1234444444P");
    QTest::newRow("reply packet") << kDataRate << QByteArray("12344444P");
    QTest::newRow("other bytes keep hunting") << hex("00 44 47 FF 43") << QByteArray("00000");
    QTest::newRow("a command type is refused") << hex("53 43 06 00") << QByteArray("1000");
    QTest::newRow("an unknown type is refused") << hex("53 58 53 44 06 00") << QByteArray("101234");
    QTest::newRow("a second sync is a wrong type") << hex("53 53 44") << QByteArray("100");
    QTest::newRow("length 0") << hex("53 44 00 00 53 44") << QByteArray("123400");
    QTest::newRow("length 4097") << hex("53 44 01 10 53 53") << QByteArray("123401");
    QTest::newRow("length 65535") << hex("53 44 FF FF 00 53") << QByteArray("123401");
    QTest::newRow("length 4096") << hex("53 44 00 10 53 44") << QByteArray("123444");
    QTest::newRow("empty payload") << hex("53 44 06 00 00 00") << QByteArray("12344P");
    QTest::newRow("sync inside a packet")
        << hex("53 44 0B 00 03 53 44 06 00 9D 00") << QByteArray("1234444444P");
}

void TestFramer::statesByteByByte()
{
    QFETCH(QByteArray, stream);
    QFETCH(QByteArray, states);

    Framer framer;
    QCOMPARE(framer.state(), 0);
    QByteArray seen;
    for (const char byte : stream) {
        const bool complete = feedOne(framer, byte);
        seen += complete ? 'P' : static_cast<char>('0' + framer.state());
        if (complete)
            QCOMPARE(framer.state(), 0);
    }
    QCOMPARE(seen, states);
}

void TestFramer::packetsInStream_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QList<QByteArray>>("packets");

    const QList<QByteArray> one{kAltitude};
    QTest::newRow("alone") << kAltitude << one;
    QTest::newRow("rubbish before") << hex("00 FF 44 47 12") + kAltitude << one;
    QTest::newRow("rubbish after") << kAltitude + hex("00 53 FF 44") << one;
    QTest::newRow("two in a row") << kAltitude + kDataRate << QList{kAltitude, kDataRate};
    QTest::newRow("rubbish between")
        << kAltitude + hex("0D 0A") + kDataRate << QList{kAltitude, kDataRate};
    // After a sync byte the next byte is taken as the type. So a packet directly after a lone "S"
    // is lost, and the next packet is found.
    QTest::newRow("lone sync before") << hex("53") + kAltitude + kDataRate << QList{kDataRate};
    QTest::newRow("refused type, then a packet")
        << hex("53 58 53 44 06 00 00 00") << QList{hex("53 44 06 00 00 00")};
    QTest::newRow("the host's own commands") << hex("53 43 07 00 12 12 00") + kAltitude << one;
    QTest::newRow("sync bytes as payload") << hex("53 44 0B 00 53 53 53 53 53 9F 01")
                                           << QList{hex("53 44 0B 00 53 53 53 53 53 9F 01")};
    QTest::newRow("a whole packet as payload") << hex("53 47 0C 00 53 44 06 00 00 00 9D 00")
                                               << QList{hex("53 47 0C 00 53 44 06 00 00 00 9D 00")};
    // The framer does not check the checksum; the decoder does.
    QTest::newRow("wrong checksum")
        << hex("53 44 07 00 03 FF FF") << QList{hex("53 44 07 00 03 FF FF")};
}

void TestFramer::packetsInStream()
{
    QFETCH(QByteArray, stream);
    QFETCH(QList<QByteArray>, packets);

    Framer framer;
    QCOMPARE(feedAll(framer, stream), packets);
}

// The framer delivers every packet after a cut: for a stream that begins inside a packet, and for
// one that breaks off inside a packet and continues after a reset.
void TestFramer::cutAtEveryPoint()
{
    for (qsizetype cut = 1; cut < kAltitude.size(); ++cut) {
        Framer late;
        QCOMPARE(feedAll(late, kAltitude.mid(cut) + kDataRate), QList{kDataRate});

        Framer broken;
        QVERIFY(feedAll(broken, kAltitude.first(cut)).isEmpty());
        broken.reset();
        QCOMPARE(feedAll(broken, kDataRate), QList{kDataRate});

        Framer split;
        QVERIFY(feedAll(split, kAltitude.first(cut)).isEmpty());
        QCOMPARE(feedAll(split, kAltitude.mid(cut)), QList{kAltitude});
    }
}

void TestFramer::lostByteDamagesOnlyTheNextPacket()
{
    for (qsizetype lost = 4; lost < kAltitude.size(); ++lost) {
        QByteArray damaged = kAltitude;
        damaged.remove(lost, 1);
        Framer framer;
        const QList<QByteArray> packets =
            feedAll(framer, damaged + kDataRate + kAltitude + kDataRate);
        // The first packet takes the sync byte of the second as its last byte; the third and fourth
        // are complete.
        QCOMPARE(packets.size(), 3);
        QCOMPARE(packets[0], damaged + 'S');
        QCOMPARE(packets.mid(1), (QList{kAltitude, kDataRate}));
    }
}

void TestFramer::invalidLengthDropsOneMoreByte_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::newRow("0") << hex("53 44 00 00");
    QTest::newRow("4097") << hex("53 44 01 10");
    QTest::newRow("65535") << hex("53 47 FF FF");
}

void TestFramer::invalidLengthDropsOneMoreByte()
{
    QFETCH(QByteArray, header);

    Framer framer;
    QCOMPARE(feedAll(framer, header + '\0' + kAltitude), QList{kAltitude});
    // The byte after the header is dropped, even if it is a sync byte.
    Framer swallowing;
    QVERIFY(feedAll(swallowing, header + kAltitude).isEmpty());
    QCOMPARE(swallowing.state(), 0);
}

void TestFramer::lengthFiveCompletesAfterOneByte()
{
    Framer framer;
    QCOMPARE(feedAll(framer, hex("53 44 05 00 00")), QList{hex("53 44 05 00 00")});
    QCOMPARE(feedAll(framer, hex("53 47 05 00 FF")), QList{hex("53 47 05 00 FF")});
}

void TestFramer::shortLengthEndsWhenTheBufferIsFull_data()
{
    QTest::addColumn<int>("length");
    for (int length = 1; length <= 4; ++length)
        QTest::addRow("%d", length) << length;
}

void TestFramer::shortLengthEndsWhenTheBufferIsFull()
{
    QFETCH(int, length);

    Framer framer;
    QVERIFY(feedAll(framer, hex("53 44") + bytes::u16(static_cast<unsigned>(length))).isEmpty());
    // Header and 4092 bytes fill the buffer; a packet within them is not found.
    const QByteArray filling = kAltitude + QByteArray(4091 - kAltitude.size(), 'S');
    QVERIFY(feedAll(framer, filling).isEmpty());
    QCOMPARE(framer.state(), 4);
    QVERIFY(!feedOne(framer, 'S'));
    QCOMPARE(framer.state(), 0);
    QCOMPARE(feedAll(framer, kAltitude), QList{kAltitude});
}

void TestFramer::longestPacket()
{
    QByteArray longest = hex("53 44 00 10") + QByteArray(4092, 'x');
    Framer framer;
    const QList<QByteArray> packets = feedAll(framer, longest + kAltitude);
    QCOMPARE(packets.size(), 2);
    QVERIFY(packets[0] == longest);
    QCOMPARE(packets[1], kAltitude);
}

void TestFramer::resetDropsThePacketInProgress()
{
    Framer framer;
    feedAll(framer, kAltitude.first(6));
    QCOMPARE(framer.state(), 4);
    framer.reset();
    QCOMPARE(framer.state(), 0);
    QVERIFY(feedAll(framer, kAltitude.mid(6)).isEmpty());
    QCOMPARE(feedAll(framer, kDataRate), QList{kDataRate});
}

// The bytes after a packet are those of earlier packets, initially zeros.
void TestFramer::slackBehindThePacketIsReadable()
{
    Framer framer;
    feedAll(framer, hex("53 44 00 10") + QByteArray(4092, 'x'));
    for (std::size_t i = 0; i < kDecoderPadding; ++i)
        QCOMPARE(framer.packet()[4096 + i], static_cast<unsigned char>(0));
    feedAll(framer, kDataRate);
    QCOMPARE(framer.packet()[9], static_cast<unsigned char>('x'));
}

QTEST_APPLESS_MAIN(TestFramer)
#include "test_framer.moc"
