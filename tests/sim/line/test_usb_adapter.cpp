// The USB packets of an adapter: their sizes, their times, and the transmissions that they hold.

#include <numeric>

#include <QTest>

#include "sim/line/usb_adapter.h"

using namespace std::chrono_literals;
using sim::AdapterModel;
using sim::Time;
using sim::UsbPacket;
using Bytes = std::vector<unsigned char>;

namespace {

constexpr std::uint32_t kBaud = 1000000; // 10 us per byte

// `size` bytes that count up from `first`, the last of which ends at `done`.
sim::Transmission transmission(std::size_t size, Time done, unsigned char first = 0)
{
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), first);
    return {.bytes = bytes, .baud = kBaud, .packets = 1, .samples = 1, .done = done};
}

std::vector<UsbPacket> takeAll(sim::UsbAdapter &adapter, Time until)
{
    std::vector<UsbPacket> all;
    while (auto packet = adapter.take(until))
        all.push_back(std::move(*packet));
    return all;
}

Bytes bytesOf(const std::vector<UsbPacket> &packets)
{
    Bytes all;
    for (const UsbPacket &packet : packets)
        all.insert(all.end(), packet.bytes.begin(), packet.bytes.end());
    return all;
}

} // namespace

class TestUsbAdapter : public QObject
{
    Q_OBJECT

private slots:
    void passesOnWithoutAnAdapter();
    void fillsPackets_data();
    void fillsPackets();
    void timerEndsAPacket_data();
    void timerEndsAPacket();
    void byteAtTheTimerStartsAPacket();
    void keepsEveryByteInOrder();
    void statesWhereTransmissionsEnd();
    void separatesBaudRates();
    void losesTheBeginning();
    void clears();
};

void TestUsbAdapter::passesOnWithoutAnAdapter()
{
    sim::UsbAdapter adapter;
    adapter.push(transmission(93, 5ms));
    adapter.push(transmission(7, 6ms));
    QVERIFY(adapter.nextDone() == 5ms);
    const auto packets = takeAll(adapter, 6ms);
    QCOMPARE(packets.size(), std::size_t(2));
    QCOMPARE(packets[0].bytes.size(), std::size_t(93));
    QVERIFY(packets[0].done == 5ms && packets[1].done == 6ms);
    QVERIFY(packets[0].pieces.front().begins && packets[0].pieces.front().ends);
}

void TestUsbAdapter::fillsPackets_data()
{
    QTest::addColumn<std::size_t>("payload");
    QTest::addColumn<Time>("latency");
    const auto row = [](const char *name, const AdapterModel &model) {
        QTest::newRow(name) << model.payload << model.latency;
    };
    row("FTDI, 1 ms", AdapterModel::ftdi(1ms));
    row("FTDI, 16 ms", AdapterModel::ftdi(16ms));
    row("CP210x", AdapterModel::cp210x());
    row("CH340", AdapterModel::ch340());
    row("CDC-ACM", AdapterModel::cdcAcm());
}

// The line is busy throughout, so every packet is filled before the timer expires: 64 bytes take
// 640 us.
void TestUsbAdapter::fillsPackets()
{
    QFETCH(const std::size_t, payload);
    QFETCH(const Time, latency);
    sim::UsbAdapter adapter({payload, latency});
    for (int i = 1; i <= 100; ++i)
        adapter.push(transmission(100, i * 1ms));
    const auto packets = takeAll(adapter, 100ms);
    QVERIFY(packets.size() >= 10000 / payload);
    for (std::size_t i = 0; i + 1 < packets.size(); ++i)
        QCOMPARE(packets[i].bytes.size(), payload);
    // A packet leaves when its last byte arrives.
    QVERIFY(packets[9].done == Time(10us) * (10 * payload));
}

void TestUsbAdapter::timerEndsAPacket_data()
{
    QTest::addColumn<Time>("latency");
    QTest::addColumn<Time>("byteAt");
    QTest::addColumn<Time>("arrives");
    QTest::newRow("1 ms") << Time(1ms) << Time(3300us) << Time(4ms);
    QTest::newRow("16 ms") << Time(16ms) << Time(3300us) << Time(16ms);
    QTest::newRow("just after the timer") << Time(16ms) << Time(16001us) << Time(32ms);
    QTest::newRow("at the timer") << Time(16ms) << Time(32ms) << Time(32ms);
}

void TestUsbAdapter::timerEndsAPacket()
{
    QFETCH(const Time, latency);
    QFETCH(const Time, byteAt);
    QFETCH(const Time, arrives);
    sim::UsbAdapter adapter(AdapterModel::ftdi(latency));
    QVERIFY(adapter.nextDone() == sim::kNever);
    adapter.push(transmission(1, byteAt));
    QVERIFY(adapter.nextDone() == arrives);
    QVERIFY(!adapter.take(arrives - 1ns));
    const auto packet = adapter.take(arrives);
    QVERIFY(packet && packet->done == arrives);
    // The timer restarts with the packet.
    adapter.push(transmission(1, arrives + 1us));
    QVERIFY(adapter.nextDone() == arrives + latency);
}

void TestUsbAdapter::byteAtTheTimerStartsAPacket()
{
    sim::UsbAdapter adapter(AdapterModel::ftdi(16ms));
    adapter.push(transmission(1, 3ms));
    adapter.push(transmission(1, 16ms, 1));
    const auto packets = takeAll(adapter, 32ms);
    QCOMPARE(packets.size(), std::size_t(2));
    QVERIFY(packets[0].done == 16ms && packets[1].done == 32ms);
    QCOMPARE(packets[1].bytes, Bytes{1});
}

void TestUsbAdapter::keepsEveryByteInOrder()
{
    sim::UsbAdapter adapter(AdapterModel::ftdi(1ms));
    Bytes pushed;
    std::vector<UsbPacket> packets;
    for (int i = 1; i <= 200; ++i) {
        const auto size = static_cast<std::size_t>(1 + i * 37 % 150);
        const auto next = transmission(size, i * 2ms, static_cast<unsigned char>(i));
        pushed.insert(pushed.end(), next.bytes.begin(), next.bytes.end());
        adapter.push(next);
        for (UsbPacket &packet : takeAll(adapter, i * 2ms))
            packets.push_back(std::move(packet));
    }
    for (UsbPacket &packet : takeAll(adapter, 1s))
        packets.push_back(std::move(packet));
    QCOMPARE(bytesOf(packets), pushed);
    for (std::size_t i = 0; i < packets.size(); ++i) {
        QVERIFY(packets[i].bytes.size() <= 62);
        QVERIFY(i == 0 || packets[i].done >= packets[i - 1].done);
    }
}

void TestUsbAdapter::statesWhereTransmissionsEnd()
{
    sim::UsbAdapter adapter(AdapterModel::ftdi(16ms));
    adapter.push(transmission(50, 1ms));
    adapter.push(transmission(50, 2ms));
    const auto packets = takeAll(adapter, 20ms);
    QCOMPARE(packets.size(), std::size_t(2));
    const auto &first = packets[0].pieces;
    QCOMPARE(first.size(), std::size_t(2));
    QVERIFY(first[0].begins && first[0].ends && first[0].bytes == 50);
    QVERIFY(first[1].begins && !first[1].ends && first[1].bytes == 12);
    const auto &second = packets[1].pieces;
    QCOMPARE(second.size(), std::size_t(1));
    QVERIFY(!second[0].begins && second[0].ends && second[0].bytes == 38);
    QCOMPARE(second[0].size, std::size_t(50));
    QCOMPARE(second[0].whole.samples, 1U);
}

void TestUsbAdapter::separatesBaudRates()
{
    sim::UsbAdapter adapter(AdapterModel::ftdi(16ms));
    adapter.push(transmission(10, 1ms));
    auto other = transmission(10, 2ms);
    other.baud = 115200;
    adapter.push(other);
    const auto packets = takeAll(adapter, 40ms);
    QCOMPARE(packets.size(), std::size_t(2));
    // The first packet leaves when the first byte of the second one arrives.
    QVERIFY(packets[0].done == other.done - 9 * sim::transmissionTime(1, other.baud));
    QCOMPARE(packets[0].baud, kBaud);
    QCOMPARE(packets[1].baud, 115200U);
    QCOMPARE(packets[1].bytes.size(), std::size_t(10));
}

void TestUsbAdapter::losesTheBeginning()
{
    sim::UsbAdapter adapter(AdapterModel::ftdi(1ms));
    adapter.push(transmission(50, 1ms), 20);
    const auto packets = takeAll(adapter, 2ms);
    QCOMPARE(bytesOf(packets).size(), std::size_t(30));
    QCOMPARE(bytesOf(packets).front(), static_cast<unsigned char>(20));
    const UsbPacket::Piece &first = packets.front().pieces.front();
    QVERIFY(first.begins && packets.back().pieces.back().ends);
    QCOMPARE(first.lost, std::size_t(20));
    QCOMPARE(packets.back().pieces.back().size, std::size_t(50));
}

void TestUsbAdapter::clears()
{
    sim::UsbAdapter adapter(AdapterModel::ftdi(16ms));
    adapter.push(transmission(100, 2ms));
    QCOMPARE(bytesOf(adapter.clear()).size(), std::size_t(100));
    QVERIFY(adapter.nextDone() == sim::kNever);
    QVERIFY(!adapter.take(1s));
}

QTEST_APPLESS_MAIN(TestUsbAdapter)
#include "test_usb_adapter.moc"
