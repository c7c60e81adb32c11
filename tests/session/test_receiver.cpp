#include <QTest>

#include "session/receiver.h"
#include "tests/fixtures/bytes.h"

using namespace std::chrono_literals;
using bytes::hex;

namespace {

// Altitude 1.0, then the same packet with its checksum off by one.
const QByteArray kAltitude = hex("53 44 0B 00 03 00 00 80 3F C2 00");
const QByteArray kDamaged = hex("53 44 0B 00 03 00 00 80 3F C3 00");
const QByteArray kRateReply = hex("53 47 09 00 08 E8 03 F3 00");

constexpr unsigned kBaud = 10'000; // a byte takes 1 ms

session::Receiver::Bytes span(const QByteArray &bytes)
{
    return {reinterpret_cast<const unsigned char *>(bytes.constData()),
            static_cast<std::size_t>(bytes.size())};
}

// Both clocks, so many milliseconds after an arbitrary time.
session::ReceiveTime at(int milliseconds)
{
    return {std::chrono::sys_time<std::chrono::nanoseconds>(1000s) +
                std::chrono::milliseconds(milliseconds),
            std::chrono::steady_clock::time_point(500s) + std::chrono::milliseconds(milliseconds)};
}

int milliseconds(const session::ReceiveTime &time)
{
    return static_cast<int>((time.monotonic - at(0).monotonic) / 1ms);
}

} // namespace

class TestReceiver : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void decodesASample();
    void keepsWhatEarlierPacketsHadOutOfASample();
    void countsDamagedPackets();
    void handsOutPacketsAndReplies();
    void timesTheFirstByte_data();
    void timesTheFirstByte();
    void timesAPacketThatArrivesInParts();
    void startsAnewAfterRestart();

private:
    std::unique_ptr<session::Receiver> m_receiver;
    std::vector<session::Sample> m_samples;
};

void TestReceiver::init()
{
    m_samples.clear();
    m_receiver = std::make_unique<session::Receiver>();
    m_receiver->restart(kBaud);
    m_receiver->onSample = [this](const session::Sample &sample) { m_samples.push_back(sample); };
}

void TestReceiver::decodesASample()
{
    // Serial number 0x00C0FFEE, then quaternion (0, 0, 0, 1), rates (1, 2, -2).
    m_receiver->feed(span(hex("53 47 0B 00 11 EE FF C0 00 BE 02")), at(0));
    m_receiver->feed(span(hex("53 44 24 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 80 3F "
                              "00 00 00 80 3F 00 00 00 40 00 00 00 C0 80 02")),
                     at(1));
    QCOMPARE(m_receiver->statistics().damaged, 0U);
    QCOMPARE(m_samples.size(), std::size_t(1));
    const session::Sample &sample = m_samples.front();
    QCOMPARE(sample.serialNumber, 0x00C0FFEEU);
    QCOMPARE(sample.blocks, std::uint16_t(0x0005));
    QVERIFY(sample.has(0x0004));
    QVERIFY(!sample.has(0x0002));
    QCOMPARE(sample.quaternion, (std::array<float, 4>{0, 0, 0, 1}));
    QCOMPARE(sample.rates, (std::array<float, 3>{1, 2, -2}));
}

void TestReceiver::keepsWhatEarlierPacketsHadOutOfASample()
{
    m_receiver->feed(span(kAltitude), at(0));
    // A packet with a sync block alone.
    m_receiver->feed(span(hex("53 44 2B 00 16") + QByteArray(36, '\0') + hex("16 00")), at(1));
    QCOMPARE(m_samples.size(), std::size_t(2));
    QCOMPARE(m_samples[0].blocks, std::uint16_t(0x0008));
    QCOMPARE(m_samples[1].blocks, std::uint16_t(0x0080));
}

void TestReceiver::countsDamagedPackets()
{
    m_receiver->feed(span(kDamaged + kAltitude + kDamaged + kRateReply), at(0));
    QCOMPARE(m_samples.size(), std::size_t(1));
    const session::Statistics &seen = m_receiver->statistics();
    QCOMPARE(seen.damaged, 2U);
    QCOMPARE(seen.samples, 1U);
    QCOMPARE(seen.replies, 1U);
    QCOMPARE(seen.bytes, 3U * 11 + 9);
}

void TestReceiver::handsOutPacketsAndReplies()
{
    QList<QByteArray> packets, replies;
    const auto copy = [](session::Receiver::Bytes bytes) {
        return QByteArray(reinterpret_cast<const char *>(bytes.data()),
                          static_cast<qsizetype>(bytes.size()));
    };
    m_receiver->onPacket = [&](session::Receiver::Bytes packet, const session::ReceiveTime &) {
        packets.append(copy(packet));
    };
    m_receiver->onReply = [&](session::Receiver::Bytes reply) { replies.append(copy(reply)); };
    m_receiver->feed(span(hex("00 53 00") + kAltitude + kDamaged + kRateReply), at(0));
    QCOMPARE(packets, (QList<QByteArray>{kAltitude, kRateReply}));
    QCOMPARE(replies, (QList<QByteArray>{kRateReply}));
    QCOMPARE(m_receiver->store().dataRate.load(), std::uint16_t(1000));
    QVERIFY(m_receiver->store().fresh.test(8));
}

void TestReceiver::timesTheFirstByte_data()
{
    QTest::addColumn<QByteArray>("read");
    QTest::addColumn<int>("earlierRead");
    QTest::addColumn<int>("first");
    QTest::newRow("the last of 11 bytes arrives at 100 ms") << kAltitude << 0 << 90;
    QTest::newRow("noise before it") << hex("01 02") + kAltitude << 0 << 90;
    QTest::newRow("three bytes follow") << kAltitude + hex("01 02 03") << 0 << 87;
    QTest::newRow("not before the read before it") << kAltitude << 95 << 95;
}

void TestReceiver::timesTheFirstByte()
{
    QFETCH(const QByteArray, read);
    QFETCH(const int, earlierRead);
    QFETCH(const int, first);
    m_receiver->feed(span(hex("01")), at(earlierRead));
    m_receiver->feed(span(read), at(100));
    QCOMPARE(m_samples.size(), std::size_t(1));
    QCOMPARE(milliseconds(m_samples.front().time), first);
    QCOMPARE(m_samples.front().time.utc - at(0).utc, std::chrono::milliseconds(first));
}

void TestReceiver::timesAPacketThatArrivesInParts()
{
    for (int i = 0; i < kAltitude.size(); ++i)
        m_receiver->feed(span(kAltitude.mid(i, 1)), at(50 + 10 * i));
    QCOMPARE(m_samples.size(), std::size_t(1));
    QCOMPARE(milliseconds(m_samples.front().time), 50);
}

void TestReceiver::startsAnewAfterRestart()
{
    m_receiver->feed(span(kAltitude.left(7)), at(0));
    m_receiver->restart(2 * kBaud);
    m_receiver->feed(span(kAltitude), at(100));
    QCOMPARE(m_samples.size(), std::size_t(1));
    QCOMPARE(milliseconds(m_samples.front().time), 95);
}

QTEST_GUILESS_MAIN(TestReceiver)
#include "test_receiver.moc"
