// Line capacity: ten bits per byte, and what happens to bytes beyond it.

#include <QTest>

#include "sim/line/transmitter.h"

using namespace std::chrono_literals;
using sim::Transmitter;

namespace {

std::vector<unsigned char> bytes(std::size_t count)
{
    return std::vector<unsigned char>(count, 0xAB);
}

} // namespace

class TestTransmitter : public QObject
{
    Q_OBJECT

private slots:
    void sendsTenBitsPerByte();
    void sendsOneAfterTheOther();
    void acceptsSamplesUpToTheBufferSize();
    void changesBaudRateOfLaterBytes();
    void clearDropsPendingBytes();
};

void TestTransmitter::sendsTenBitsPerByte()
{
    Transmitter line(100000);
    QCOMPARE(line.nextDone(), sim::kNever);
    line.send(bytes(93), 1, 5ms);
    // 930 bits at 100000 baud are 9.3 ms.
    QCOMPARE(line.nextDone(), sim::Time(14300us));
    QVERIFY(!line.take(14299us));
    const auto out = line.take(14300us);
    QVERIFY(out);
    QCOMPARE(out->bytes, bytes(93));
    QCOMPARE(out->baud, 100000U);
    QCOMPARE(out->packets, 1U);
    QVERIFY(!line.take(1s));
}

void TestTransmitter::sendsOneAfterTheOther()
{
    Transmitter line(100000);
    line.send(bytes(10), 1, 0ms);
    line.send(bytes(20), 1, 0ms);
    QCOMPARE(line.idleAt(0ms), sim::Time(3ms));
    QCOMPARE(line.idleAt(5ms), sim::Time(5ms));
    QCOMPARE(line.take(1ms)->bytes.size(), std::size_t(10));
    QVERIFY(!line.take(2999us));
    QCOMPARE(line.take(3ms)->bytes.size(), std::size_t(20));
}

void TestTransmitter::acceptsSamplesUpToTheBufferSize()
{
    Transmitter line(100000);
    QVERIFY(line.hasRoom(288, 0ms));
    QVERIFY(!line.hasRoom(289, 0ms));
    line.send(bytes(200), 1, 0ms);
    QVERIFY(line.hasRoom(88, 0ms));
    QVERIFY(!line.hasRoom(89, 0ms));
    // The line transmits ten bytes per millisecond.
    QVERIFY(line.hasRoom(98, 1ms));
    QVERIFY(!line.hasRoom(99, 1ms));
    // A reply is sent even if the buffer is full.
    line.send(bytes(150), 1, 1ms);
    QVERIFY(!line.hasRoom(1, 1ms));
    QCOMPARE(line.idleAt(1ms), sim::Time(35ms));
}

void TestTransmitter::changesBaudRateOfLaterBytes()
{
    Transmitter line(100000);
    line.send(bytes(10), 1, 0ms);
    line.setBaud(1000000);
    line.send(bytes(10), 1, 0ms);
    QCOMPARE(line.take(1ms)->baud, 100000U);
    const auto second = line.take(1100us);
    QVERIFY(second);
    QCOMPARE(second->baud, 1000000U);
}

void TestTransmitter::clearDropsPendingBytes()
{
    Transmitter line(100000);
    line.send(bytes(100), 1, 0ms);
    line.clear(1ms);
    QCOMPARE(line.nextDone(), sim::kNever);
    QCOMPARE(line.idleAt(1ms), sim::Time(1ms));
}

QTEST_APPLESS_MAIN(TestTransmitter)
#include "test_transmitter.moc"
