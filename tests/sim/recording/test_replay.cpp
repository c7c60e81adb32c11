// Replay of a recorded device, with a simulated clock.

#include <QTest>

#include "sim/recording/replay.h"

using namespace std::chrono_literals;
using recording::RecordedEvent;
using sim::Replay;
using sim::Time;
using Kind = recording::RecordedEvent::Kind;
using Move = sim::SimulatedDevice::CableMove;
using Bytes = std::vector<unsigned char>;

namespace {

recording::Recording recorded(std::vector<RecordedEvent> events)
{
    return {.header = {.baud = 57600}, .events = std::move(events)};
}

RecordedEvent delivered(std::chrono::microseconds at, unsigned char byte)
{
    return {.at = at, .kind = Kind::Delivered, .bytes = {byte}};
}

// The bytes sent until `at`.
Bytes sent(Replay &replay, Time at)
{
    Bytes all;
    while (const auto transmission = replay.transmit(at))
        all.insert(all.end(), transmission->bytes.begin(), transmission->bytes.end());
    return all;
}

} // namespace

class TestReplay : public QObject
{
    Q_OBJECT

private slots:
    void beginsWhenAHostListens();
    void scalesTheRecordedTimes_data();
    void scalesTheRecordedTimes();
    void changesBaudRate();
    void waitsForTheHost();
    void doesNotWaitForEver();
    void acceptsHostBytesSentEarly();
    void movesTheCable();
    void sendsAsFastAsTheHostReads();
    void sendsOnlyToAHostThatListens();
    void emptyRecordingSendsNothing();
};

void TestReplay::beginsWhenAHostListens()
{
    Replay replay(recorded({delivered(0us, 1), delivered(10ms, 2)}));
    QCOMPARE(replay.lineBaud(), 57600U);
    QVERIFY(replay.nextEvent() == sim::kNever);
    replay.setHostAttached(false, 1s);
    QVERIFY(replay.nextEvent() == sim::kNever);
    QCOMPARE(sent(replay, 2s), Bytes{});
    replay.setHostAttached(true, 3s);
    QVERIFY(replay.nextEvent() == 3100ms);
    QCOMPARE(sent(replay, 3100ms - 1ns), Bytes{});
    QCOMPARE(sent(replay, 3100ms), Bytes{1});
    // The replay goes on without a host: a host that stops listening misses bytes.
    replay.setHostAttached(false, 3105ms);
    QCOMPARE(sent(replay, 3110ms), Bytes{2});
}

void TestReplay::scalesTheRecordedTimes_data()
{
    QTest::addColumn<double>("speed");
    QTest::addColumn<qint64>("dueUs");
    QTest::newRow("half") << 0.5 << qint64(2000000);
    QTest::newRow("as recorded") << 1.0 << qint64(1000000);
    QTest::newRow("eight times") << 8.0 << qint64(125000);
}

void TestReplay::scalesTheRecordedTimes()
{
    QFETCH(const double, speed);
    QFETCH(const qint64, dueUs);
    Replay replay(recorded({delivered(0us, 1), delivered(1s, 2), delivered(2s, 3)}), speed);
    replay.setHostAttached(true, 0s);
    const Time begin = Replay::kLeadIn;
    const Time step = std::chrono::microseconds(dueUs);
    QCOMPARE(sent(replay, begin), Bytes{1});
    QVERIFY(replay.nextEvent() == begin + step);
    QCOMPARE(sent(replay, begin + step - 1us), Bytes{});
    QCOMPARE(sent(replay, begin + step), Bytes{2});
    // A late call does not shift the later events.
    QVERIFY(replay.nextEvent() == begin + 2 * step);
    QCOMPARE(sent(replay, begin + 3 * step), Bytes{3});
    QVERIFY(replay.nextEvent() == sim::kNever);
    QVERIFY(!replay.waitsForHost());
}

void TestReplay::changesBaudRate()
{
    Replay replay(recorded({delivered(0us, 1),
                            {.at = 1ms, .kind = Kind::Baud, .baud = 1000000},
                            {.at = 1ms, .kind = Kind::Undelivered, .bytes = {2}}}));
    replay.setHostAttached(true, 0s);
    QCOMPARE(replay.transmit(100ms)->baud, 57600U);
    QCOMPARE(replay.lineBaud(), 57600U);
    const auto second = replay.transmit(101ms);
    QCOMPARE(second->baud, 1000000U);
    QCOMPARE(second->bytes, Bytes{2});
    QCOMPARE(replay.lineBaud(), 1000000U);
}

void TestReplay::waitsForTheHost()
{
    Replay replay(
        recorded({{.at = 10ms, .kind = Kind::FromHost, .bytes = {1, 2}}, delivered(15ms, 7)}));
    replay.setHostAttached(true, 0s);
    QCOMPARE(sent(replay, 110ms), Bytes{});
    replay.receive(Bytes{9}, 57600, 500ms);
    QCOMPARE(sent(replay, 500ms), Bytes{});
    replay.receive(Bytes{9}, 57600, 600ms);
    QCOMPARE(sent(replay, 600ms), Bytes{});
    // Later events keep their recorded distance from here.
    QVERIFY(replay.nextEvent() == 605ms);
    QCOMPARE(sent(replay, 605ms), Bytes{7});
}

void TestReplay::doesNotWaitForEver()
{
    Replay replay(
        recorded({{.at = 0us, .kind = Kind::FromHost, .bytes = {1, 2}}, delivered(5ms, 7)}));
    replay.setHostAttached(true, 0s);
    QCOMPARE(sent(replay, 100ms), Bytes{});
    QVERIFY(replay.nextEvent() == 100ms + Replay::kHostTimeout);
    QCOMPARE(sent(replay, 1100ms - 1ns), Bytes{});
    QCOMPARE(sent(replay, 1100ms), Bytes{});
    QCOMPARE(sent(replay, 1105ms), Bytes{7});
}

void TestReplay::acceptsHostBytesSentEarly()
{
    Replay replay(recorded({{.at = 10ms, .kind = Kind::FromHost, .bytes = {1, 2}},
                            delivered(20ms, 7),
                            {.at = 30ms, .kind = Kind::FromHost, .bytes = {3}},
                            delivered(40ms, 8)}));
    replay.setHostAttached(true, 0s);
    replay.receive(Bytes{1, 2}, 57600, 50ms);
    QCOMPARE(sent(replay, 120ms), Bytes{7}); // received early: no wait
    QCOMPARE(sent(replay, 140ms), Bytes{});  // those two bytes are used up
    replay.receive(Bytes{3}, 9600, 200ms);   // content and baud rate do not matter
    QCOMPARE(sent(replay, 210ms), Bytes{8});
}

void TestReplay::movesTheCable()
{
    Replay replay(recorded({delivered(0us, 1),
                            {.at = 1s, .kind = Kind::Unplug},
                            {.at = 3s, .kind = Kind::PlugIn},
                            delivered(4s, 2)}),
                  2.0);
    replay.setHostAttached(true, 0s);
    QCOMPARE(sent(replay, 599ms), Bytes{1});
    QVERIFY(!replay.takeCableMove(599ms));
    QVERIFY(replay.nextEvent() == 600ms);
    QCOMPARE(sent(replay, 600ms), Bytes{});
    QVERIFY(replay.takeCableMove(600ms) == Move::PullOut);
    QVERIFY(!replay.takeCableMove(600ms));
    replay.setHostAttached(false, 700ms);
    QVERIFY(!replay.takeCableMove(1600ms - 1ns));
    QVERIFY(replay.takeCableMove(1600ms) == Move::PutBack);
    QCOMPARE(sent(replay, 2100ms), Bytes{2});
    QVERIFY(!replay.takeCableMove(5s));
}

void TestReplay::sendsAsFastAsTheHostReads()
{
    Replay replay(recorded({delivered(1s, 1),
                            delivered(2s, 2),
                            {.at = 3s, .kind = Kind::Unplug},
                            {.at = 5s, .kind = Kind::PlugIn}}),
                  std::nullopt);
    QVERIFY(replay.nextEvent() == sim::kNever);
    replay.setHostAttached(true, 0s);
    QVERIFY(replay.nextEvent() == Replay::kLeadIn);
    QVERIFY(replay.waitsForHost());
    QCOMPARE(replay.transmit(100ms)->bytes, Bytes{1});
    QVERIFY(replay.waitsForHost());
    QCOMPARE(replay.transmit(100ms)->bytes, Bytes{2});
    // The unplug waits until the host has read all bytes.
    QVERIFY(replay.waitsForHost());
    QVERIFY(replay.takeCableMove(101ms) == Move::PullOut);
    QVERIFY(!replay.waitsForHost());
    QVERIFY(!replay.takeCableMove(2101ms - 1ns));
    QVERIFY(replay.takeCableMove(2101ms) == Move::PutBack);
}

void TestReplay::sendsOnlyToAHostThatListens()
{
    Replay replay(recorded({delivered(1s, 1),
                            {.at = 1s, .kind = Kind::Undelivered, .bytes = {2}},
                            delivered(2s, 3)}),
                  std::nullopt);
    replay.setHostAttached(true, 0s);
    QCOMPARE(replay.transmit(100ms)->bytes, Bytes{1});
    replay.setHostAttached(false, 200ms);
    // Bytes that no host received in the recording need no host in the replay.
    QCOMPARE(replay.transmit(200ms)->bytes, Bytes{2});
    QVERIFY(!replay.transmit(10s));
    QVERIFY(replay.nextEvent() == sim::kNever);
    replay.setHostAttached(true, 11s);
    QVERIFY(!replay.transmit(11s));
    QCOMPARE(replay.transmit(11100ms)->bytes, Bytes{3});
}

void TestReplay::emptyRecordingSendsNothing()
{
    for (const std::optional<double> speed : {std::optional<double>(1.0), {}}) {
        Replay replay(recorded({}), speed);
        replay.setHostAttached(true, 0s);
        QVERIFY(replay.isOver());
        QVERIFY(!replay.transmit(10s));
        QVERIFY(!replay.takeCableMove(10s));
        QVERIFY(!replay.waitsForHost());
        QVERIFY(replay.nextEvent() == sim::kNever);
    }
}

QTEST_APPLESS_MAIN(TestReplay)
#include "test_replay.moc"
