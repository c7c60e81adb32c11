// Replay of a recorded device, with a simulated clock.

#include "sim/Replay.h"

#include <QTest>

using namespace std::chrono_literals;
using sim::RecordedEvent;
using sim::Replay;
using sim::Time;
using Kind = sim::RecordedEvent::Kind;
using Move = sim::Unit::CableMove;
using Bytes = std::vector<unsigned char>;

namespace {

sim::Recording recorded(std::vector<RecordedEvent> events)
{
    return {.header = {.baud = 57600}, .events = std::move(events)};
}

RecordedEvent heard(std::chrono::microseconds at, unsigned char byte)
{
    return {.at = at, .kind = Kind::Heard, .bytes = {byte}};
}

// The bytes sent until `at`.
Bytes spoken(Replay &replay, Time at)
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
    Replay replay(recorded({heard(0us, 1), heard(10ms, 2)}));
    QCOMPARE(replay.lineBaud(), 57600u);
    QVERIFY(replay.nextEvent() == sim::kNever);
    replay.hostListens(false, 1s);
    QVERIFY(replay.nextEvent() == sim::kNever);
    QCOMPARE(spoken(replay, 2s), Bytes{});
    replay.hostListens(true, 3s);
    QVERIFY(replay.nextEvent() == 3100ms);
    QCOMPARE(spoken(replay, 3100ms - 1ns), Bytes{});
    QCOMPARE(spoken(replay, 3100ms), Bytes{1});
    // The replay goes on without a host: a host that stops listening misses bytes.
    replay.hostListens(false, 3105ms);
    QCOMPARE(spoken(replay, 3110ms), Bytes{2});
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
    Replay replay(recorded({heard(0us, 1), heard(1s, 2), heard(2s, 3)}), speed);
    replay.hostListens(true, 0s);
    const Time begin = Replay::kLeadIn;
    const Time step = std::chrono::microseconds(dueUs);
    QCOMPARE(spoken(replay, begin), Bytes{1});
    QVERIFY(replay.nextEvent() == begin + step);
    QCOMPARE(spoken(replay, begin + step - 1us), Bytes{});
    QCOMPARE(spoken(replay, begin + step), Bytes{2});
    // A late call does not shift the later events.
    QVERIFY(replay.nextEvent() == begin + 2 * step);
    QCOMPARE(spoken(replay, begin + 3 * step), Bytes{3});
    QVERIFY(replay.nextEvent() == sim::kNever);
    QVERIFY(!replay.waitsForHost());
}

void TestReplay::changesBaudRate()
{
    Replay replay(recorded({heard(0us, 1),
                            {.at = 1ms, .kind = Kind::Baud, .baud = 1000000},
                            {.at = 1ms, .kind = Kind::Unheard, .bytes = {2}}}));
    replay.hostListens(true, 0s);
    QCOMPARE(replay.transmit(100ms)->baud, 57600u);
    QCOMPARE(replay.lineBaud(), 57600u);
    const auto second = replay.transmit(101ms);
    QCOMPARE(second->baud, 1000000u);
    QCOMPARE(second->bytes, Bytes{2});
    QCOMPARE(replay.lineBaud(), 1000000u);
}

void TestReplay::waitsForTheHost()
{
    Replay replay(
        recorded({{.at = 10ms, .kind = Kind::FromHost, .bytes = {1, 2}}, heard(15ms, 7)}));
    replay.hostListens(true, 0s);
    QCOMPARE(spoken(replay, 110ms), Bytes{});
    replay.receive(Bytes{9}, 57600, 500ms);
    QCOMPARE(spoken(replay, 500ms), Bytes{});
    replay.receive(Bytes{9}, 57600, 600ms);
    QCOMPARE(spoken(replay, 600ms), Bytes{});
    // Later events keep their recorded distance from here.
    QVERIFY(replay.nextEvent() == 605ms);
    QCOMPARE(spoken(replay, 605ms), Bytes{7});
}

void TestReplay::doesNotWaitForEver()
{
    Replay replay(recorded({{.at = 0us, .kind = Kind::FromHost, .bytes = {1, 2}}, heard(5ms, 7)}));
    replay.hostListens(true, 0s);
    QCOMPARE(spoken(replay, 100ms), Bytes{});
    QVERIFY(replay.nextEvent() == 100ms + Replay::kPatience);
    QCOMPARE(spoken(replay, 1100ms - 1ns), Bytes{});
    QCOMPARE(spoken(replay, 1100ms), Bytes{});
    QCOMPARE(spoken(replay, 1105ms), Bytes{7});
}

void TestReplay::acceptsHostBytesSentEarly()
{
    Replay replay(recorded({{.at = 10ms, .kind = Kind::FromHost, .bytes = {1, 2}},
                            heard(20ms, 7),
                            {.at = 30ms, .kind = Kind::FromHost, .bytes = {3}},
                            heard(40ms, 8)}));
    replay.hostListens(true, 0s);
    replay.receive(Bytes{1, 2}, 57600, 50ms);
    QCOMPARE(spoken(replay, 120ms), Bytes{7}); // received early: no wait
    QCOMPARE(spoken(replay, 140ms), Bytes{});  // those two bytes are used up
    replay.receive(Bytes{3}, 9600, 200ms);     // content and baud rate do not matter
    QCOMPARE(spoken(replay, 210ms), Bytes{8});
}

void TestReplay::movesTheCable()
{
    Replay replay(recorded({heard(0us, 1),
                            {.at = 1s, .kind = Kind::Unplug},
                            {.at = 3s, .kind = Kind::PlugIn},
                            heard(4s, 2)}),
                  2.0);
    replay.hostListens(true, 0s);
    QCOMPARE(spoken(replay, 599ms), Bytes{1});
    QVERIFY(!replay.takeCableMove(599ms));
    QVERIFY(replay.nextEvent() == 600ms);
    QCOMPARE(spoken(replay, 600ms), Bytes{});
    QVERIFY(replay.takeCableMove(600ms) == Move::PullOut);
    QVERIFY(!replay.takeCableMove(600ms));
    replay.hostListens(false, 700ms);
    QVERIFY(!replay.takeCableMove(1600ms - 1ns));
    QVERIFY(replay.takeCableMove(1600ms) == Move::PutBack);
    QCOMPARE(spoken(replay, 2100ms), Bytes{2});
    QVERIFY(!replay.takeCableMove(5s));
}

void TestReplay::sendsAsFastAsTheHostReads()
{
    Replay replay(recorded({heard(1s, 1),
                            heard(2s, 2),
                            {.at = 3s, .kind = Kind::Unplug},
                            {.at = 5s, .kind = Kind::PlugIn}}),
                  std::nullopt);
    QVERIFY(replay.nextEvent() == sim::kNever);
    replay.hostListens(true, 0s);
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
    Replay replay(
        recorded({heard(1s, 1), {.at = 1s, .kind = Kind::Unheard, .bytes = {2}}, heard(2s, 3)}),
        std::nullopt);
    replay.hostListens(true, 0s);
    QCOMPARE(replay.transmit(100ms)->bytes, Bytes{1});
    replay.hostListens(false, 200ms);
    // Bytes that no host received in the recording need no host in the replay.
    QCOMPARE(replay.transmit(200ms)->bytes, Bytes{2});
    QVERIFY(!replay.transmit(10s));
    QVERIFY(replay.nextEvent() == sim::kNever);
    replay.hostListens(true, 11s);
    QVERIFY(!replay.transmit(11s));
    QCOMPARE(replay.transmit(11100ms)->bytes, Bytes{3});
}

void TestReplay::emptyRecordingSendsNothing()
{
    for (const std::optional<double> speed : {std::optional<double>(1.0), {}}) {
        Replay replay(recorded({}), speed);
        replay.hostListens(true, 0s);
        QVERIFY(replay.isOver());
        QVERIFY(!replay.transmit(10s));
        QVERIFY(!replay.takeCableMove(10s));
        QVERIFY(!replay.waitsForHost());
        QVERIFY(replay.nextEvent() == sim::kNever);
    }
}

QTEST_APPLESS_MAIN(TestReplay)
#include "test_replay.moc"
