// Commands in a stream of bytes, and streams without commands.

#include <algorithm>
#include <array>
#include <random>

#include <QTest>

#include "sim/device/command_parser.h"

using namespace std::chrono_literals;
using Bytes = std::vector<unsigned char>;

namespace {

const Bytes kStart{0x53, 0x43, 0x07, 0x00, 0x12, 0x12, 0x00};
const Bytes kEmpty{0x53, 0x43, 0x06, 0x00, 0x00, 0x00};

std::vector<Bytes> found(sim::CommandParser &parser, const Bytes &bytes, sim::Time at = 0ms)
{
    std::vector<Bytes> packets;
    parser.feed(bytes, at, [&](protocol::Bytes packet) {
        packets.emplace_back(packet.begin(), packet.end());
    });
    return packets;
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

} // namespace

class TestCommandParser : public QObject
{
    Q_OBJECT

private slots:
    void findsCommands_data();
    void findsCommands();
    void takesTheLongestCommand();
    void isFedByteByByte();
    void dropsAPacketThatStops();
    void findsACommandAfterRandomBytes();
};

void TestCommandParser::findsCommands_data()
{
    QTest::addColumn<Bytes>("bytes");
    QTest::addColumn<int>("count");
    QTest::newRow("one") << kStart << 1;
    QTest::newRow("empty payload") << kEmpty << 1;
    QTest::newRow("two in a row") << kStart + kStart << 2;
    QTest::newRow("rubbish before") << Bytes{0x00, 0xFF, 0x43} + kStart << 1;
    QTest::newRow("a sync byte before") << Bytes{0x53} + kStart << 1;
    QTest::newRow("an impossible length before") << Bytes{0x53, 0x43, 0x05, 0x00} + kStart << 1;
    QTest::newRow("too long a length before") << Bytes{0x53, 0x43, 0x06, 0x01} + kStart << 1;
    QTest::newRow("a sync byte in the payload")
        << Bytes{0x53, 0x43, 0x08, 0x00, 0x53, 0x43, 0x96, 0x00} << 1;
    QTest::newRow("a wrong checksum, then a right one")
        << Bytes{0x53, 0x43, 0x07, 0x00, 0x12, 0x12, 0x01} + kStart << 1;
    QTest::newRow("a device's packet") << Bytes{0x53, 0x44, 0x07, 0x00, 0x12, 0x12, 0x00} << 0;
}

void TestCommandParser::findsCommands()
{
    QFETCH(const Bytes, bytes);
    QFETCH(const int, count);
    sim::CommandParser parser;
    QCOMPARE(int(found(parser, bytes).size()), count);
}

void TestCommandParser::takesTheLongestCommand()
{
    Bytes packet(4 + 255 + 2, 0xFF);
    std::ranges::copy(std::array{0x53, 0x43, 0x05, 0x01}, packet.begin());
    packet[259] = 0x01; // 255 times 255 is 0xFE01
    packet[260] = 0xFE;
    sim::CommandParser parser;
    QCOMPARE(found(parser, packet), std::vector<Bytes>{packet});
}

void TestCommandParser::isFedByteByByte()
{
    sim::CommandParser parser;
    std::size_t count = 0;
    for (const unsigned char byte : kStart + kStart)
        count += found(parser, {byte}).size();
    QCOMPARE(count, std::size_t(2));
}

// After a pause, an incomplete command must not swallow the next one.
void TestCommandParser::dropsAPacketThatStops()
{
    const Bytes half{0x53, 0x43, 0x05, 0x01, 0x0D};
    sim::CommandParser parser;
    QVERIFY(found(parser, half, 1s).empty());
    QVERIFY(found(parser, kStart, 1050ms).empty());
    QCOMPARE(found(parser, kStart, 1200ms), std::vector<Bytes>{kStart});
}

void TestCommandParser::findsACommandAfterRandomBytes()
{
    std::mt19937 random(7);
    sim::CommandParser parser;
    const Bytes likely{0x53, 0x43, 0x06, 0x07, 0x0C, 0x00, 0x01, 0xFF};
    for (int round = 0; round < 20000; ++round) {
        Bytes bytes(random() % 40);
        for (unsigned char &byte : bytes)
            byte = likely[random() % likely.size()];
        for (const Bytes &packet : found(parser, bytes, round * 10ms))
            QVERIFY(packet.size() >= 6 && packet.size() <= 261);
    }
    QCOMPARE(found(parser, kStart, 10000s), std::vector<Bytes>{kStart});
}

QTEST_APPLESS_MAIN(TestCommandParser)
#include "test_command_parser.moc"
