// What becomes of a transmission whose parts reach the host in several USB packets, or not at all.

#include <memory>
#include <vector>

#include <QTest>

#include "sim/line/packet_delivery.h"
#include "tests/fixtures/wait_limit.h"
#include "tests/sim/host.h"

using namespace std::chrono_literals;
using sim::AdapterModel;
using sim::LineCounters;
using sim::Time;

namespace {

constexpr std::uint32_t kBaud = 1000000;
constexpr std::size_t kReply = 8;
constexpr std::size_t kSample = 93;
// A packet that is not full leaves the adapter after this time.
constexpr Time kLater = 1h;

// A line with an adapter that groups 62 bytes, and a host at its end.
struct Line
{
    explicit Line(sim::LineOptions options = {})
    {
        options.adapter = AdapterModel::ftdi(kLater);
        delivery.setOptions(options);
    }

    bool open(speed_t speed = B1000000) { return host.openWithoutDropping(pty->path(), speed); }
    void push(std::size_t bytes, unsigned samples, Time done)
    {
        delivery.accept({.bytes = std::vector<unsigned char>(bytes, 'x'),
                         .baud = kBaud,
                         .packets = 1,
                         .samples = samples,
                         .done = done},
                        *pty, nullptr);
        delivery.deliverDue(done, *pty, nullptr);
    }
    void sample(Time done) { push(kSample, 1, done); }
    // Delivers what the adapter holds.
    LineCounters flushed()
    {
        while (delivery.nextDone() != sim::kNever)
            delivery.deliverDue(delivery.nextDone(), *pty, nullptr);
        return delivery.counters();
    }
    std::size_t unread() const { return pty->unreadByHost(); }

    std::unique_ptr<sim::Pty> pty = std::make_unique<sim::Pty>();
    sim::PacketDelivery delivery;
    Host host;
};

} // namespace

class TestPacketDelivery : public QObject
{
    Q_OBJECT

private slots:
    void countsPacketsThatArriveInParts();
    void aSampleCutAtTheOpeningIsNotSent();
    void aSampleCutBehindAReplyIsNotSent();
    void corruptionOfOnePartCorruptsThePacket();
    void overrunOfOnePartLosesThePacket();
    void theRestOfAPacketDoesNotReachTheNextHost();
    void theRestAloneDoesNotReachTheNextHost();
    void unpluggingLosesWhatTheAdapterHolds();
    void theStreamIsCutAgainAfterUnplugging();
};

void TestPacketDelivery::countsPacketsThatArriveInParts()
{
    Line line;
    QVERIFY(line.open());
    line.push(kReply, 0, 1ms);
    line.sample(2ms);
    line.sample(3ms);
    const LineCounters counters = line.flushed();
    QCOMPARE(counters.sent, std::uint64_t(3));
    QCOMPARE(counters.samples, std::uint64_t(2));
    QCOMPARE(counters.bytesSent, std::uint64_t(kReply + 2 * kSample));
    QCOMPARE(line.host.read(kWaitLimit, counters.bytesSent).size(), kReply + 2 * kSample);
}

void TestPacketDelivery::aSampleCutAtTheOpeningIsNotSent()
{
    Line line({.startsMidPacket = true});
    QVERIFY(line.open());
    line.sample(1ms);
    line.sample(2ms);
    const LineCounters counters = line.flushed();
    QCOMPARE(counters.noHost, std::uint64_t(1));
    QCOMPARE(counters.samples, std::uint64_t(1));
}

// The adapter still holds the reply when the sample arrives there.
void TestPacketDelivery::aSampleCutBehindAReplyIsNotSent()
{
    Line line({.startsMidPacket = true});
    QVERIFY(line.open());
    line.push(kReply, 0, 1ms);
    line.sample(2ms);
    line.sample(3ms);
    const LineCounters counters = line.flushed();
    QCOMPARE(counters.noHost, std::uint64_t(1));
    QCOMPARE(counters.samples, std::uint64_t(1));
    QCOMPARE(counters.sent, std::uint64_t(2));
    QCOMPARE(counters.bytesSent, std::uint64_t(kReply + kSample));
}

// The first 62 bytes arrive at the wrong baud rate, the others at the right one.
void TestPacketDelivery::corruptionOfOnePartCorruptsThePacket()
{
    Line line;
    QVERIFY(line.open(B57600));
    line.sample(1ms);
    QVERIFY(line.host.setSpeed(B1000000));
    line.sample(2ms);
    const LineCounters counters = line.flushed();
    QCOMPARE(counters.corrupted, std::uint64_t(1));
    QCOMPARE(counters.framingErrors, std::uint64_t(62));
    QCOMPARE(counters.samples, std::uint64_t(1));
}

// The queue takes the first sample and seven bytes of the second one.
void TestPacketDelivery::overrunOfOnePartLosesThePacket()
{
    Line line({.receiveQueue = kSample + 7});
    QVERIFY(line.open());
    line.sample(1ms);
    QCOMPARE(line.flushed().samples, std::uint64_t(1));
    QVERIFY(eventually([&] { return line.unread() == kSample; }));
    line.sample(kLater + 1ms); // its first 62 bytes
    QVERIFY(eventually([&] { return line.unread() == kSample + 7; }));
    QCOMPARE(line.delivery.counters().overrunBytes, std::uint64_t(62 - 7));
    LineCounters counters = line.flushed();
    QCOMPARE(counters.samples, std::uint64_t(1));
    QCOMPARE(counters.overrun, std::uint64_t(1));
    QCOMPARE(counters.overrunBytes, std::uint64_t(kSample - 7));
    QCOMPARE(line.host.read(kWaitLimit, kSample + 7).size(), kSample + 7);
    line.sample(2 * kLater + 1ms);
    counters = line.flushed();
    QCOMPARE(counters.samples, std::uint64_t(2));
    QCOMPARE(counters.overrun, std::uint64_t(1));
}

void TestPacketDelivery::theRestOfAPacketDoesNotReachTheNextHost()
{
    Line line;
    QVERIFY(line.open());
    line.sample(1ms);
    QCOMPARE(line.host.read(kWaitLimit, 62).size(), std::size_t(62));
    line.host.close();
    line.pty->watch();
    QVERIFY(line.open());
    line.sample(2ms);
    const LineCounters counters = line.flushed();
    QCOMPARE(counters.noHost, std::uint64_t(1));
    QCOMPARE(counters.samples, std::uint64_t(1));
    QCOMPARE(line.host.read(kWaitLimit, kSample).size(), kSample);
    QVERIFY(line.host.read(0ms).empty());
}

// The same if the device sends nothing more.
void TestPacketDelivery::theRestAloneDoesNotReachTheNextHost()
{
    Line line;
    QVERIFY(line.open());
    line.sample(1ms);
    line.host.close();
    line.pty->watch();
    QVERIFY(line.open());
    QCOMPARE(line.flushed().noHost, std::uint64_t(1));
    QVERIFY(!line.pty->hasUnread());
}

void TestPacketDelivery::unpluggingLosesWhatTheAdapterHolds()
{
    Line line;
    QVERIFY(line.open());
    line.sample(1ms);
    line.pty = nullptr;
    line.delivery.unplug();
    QVERIFY(line.delivery.nextDone() == sim::kNever);
    line.pty = std::make_unique<sim::Pty>();
    QVERIFY(line.open());
    line.sample(2ms);
    const LineCounters counters = line.flushed();
    QCOMPARE(counters.samples, std::uint64_t(1));
    QCOMPARE(line.host.read(kWaitLimit, kSample).size(), kSample);
    QVERIFY(line.host.read(0ms).empty());
}

// No session has ended on either line.
void TestPacketDelivery::theStreamIsCutAgainAfterUnplugging()
{
    Line line({.startsMidPacket = true});
    QVERIFY(line.open());
    line.sample(1ms);
    QCOMPARE(line.flushed().noHost, std::uint64_t(1));
    line.pty = nullptr;
    line.delivery.unplug();
    line.pty = std::make_unique<sim::Pty>();
    QVERIFY(line.open());
    line.sample(2 * kLater);
    line.sample(2 * kLater + 1ms);
    QCOMPARE(line.flushed().noHost, std::uint64_t(2));
    QCOMPARE(line.flushed().samples, std::uint64_t(1));
}

QTEST_APPLESS_MAIN(TestPacketDelivery)
#include "test_packet_delivery.moc"
