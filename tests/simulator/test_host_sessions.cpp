// Whose bytes are these? The order of opens, closes and reads tells.

#include "sim/HostSessions.h"

#include <QTest>

using sim::HostSessions;

namespace {

constexpr std::optional<std::uint32_t> kUnknown;

// One read with nothing happening meanwhile.
std::optional<std::uint32_t> read(HostSessions &sessions, std::uint32_t shown)
{
    sessions.beginRead();
    return sessions.endRead(shown, shown);
}

} // namespace

class TestHostSessions : public QObject
{
    Q_OBJECT

private slots:
    void believesTheTerminal();
    void countsOpens();
    void doubtsTheFirstReadAfterAClose();
    void knowsASpeedItHasSeenBeingSet();
    void isNotFooledByTheSpeedOfTheLastUser();
    void showsWhatWasSeenLast();
    void knowsTheSpeedOfBytesWrittenDuringTheRead();
    void waitsForBytesWrittenDuringTheRead();
    void cannotTellTwoSessionsApart();
    void doubtsAChangeDuringTheRead();
};

void TestHostSessions::believesTheTerminal()
{
    HostSessions sessions;
    QVERIFY(!sessions.isOpen());
    sessions.opened();
    sessions.wrote();
    QCOMPARE(read(sessions, 115200), std::optional(115200u));
    QCOMPARE(read(sessions, 921600), std::optional(921600u));
}

void TestHostSessions::countsOpens()
{
    HostSessions sessions;
    sessions.opened();
    sessions.opened();
    QVERIFY(!sessions.closed());
    QVERIFY(sessions.isOpen());
    QVERIFY(!sessions.awaitsLastBytes());
    QVERIFY(sessions.closed());
    QVERIFY(!sessions.isOpen());
    QVERIFY(sessions.awaitsLastBytes());
}

void TestHostSessions::doubtsTheFirstReadAfterAClose()
{
    HostSessions sessions;
    sessions.opened();
    sessions.wrote();
    sessions.closed();
    sessions.opened();
    QCOMPARE(read(sessions, 921600), kUnknown);
    QCOMPARE(read(sessions, 921600), std::optional(921600u));
}

void TestHostSessions::knowsASpeedItHasSeenBeingSet()
{
    HostSessions sessions;
    sessions.opened();
    sessions.shows(9600);
    sessions.shows(460800);
    sessions.closed();
    sessions.opened();
    QCOMPARE(read(sessions, 115200), std::optional(460800u));
}

void TestHostSessions::isNotFooledByTheSpeedOfTheLastUser()
{
    HostSessions sessions;
    sessions.opened();
    sessions.shows(9600);
    sessions.shows(9600);
    sessions.closed();
    sessions.opened();
    QCOMPARE(read(sessions, 115200), kUnknown);
    // And what was learnt in one session says nothing about the next.
    sessions.shows(115200);
    sessions.shows(57600);
    sessions.closed();
    read(sessions, 57600);
    sessions.opened();
    sessions.shows(57600);
    sessions.closed();
    QCOMPARE(read(sessions, 115200), kUnknown);
}

void TestHostSessions::showsWhatWasSeenLast()
{
    HostSessions sessions;
    sessions.shows(9600); // nobody has it open
    QVERIFY(!sessions.shown());
    sessions.opened();
    QVERIFY(!sessions.shown());
    sessions.shows(9600);
    sessions.shows(460800);
    QCOMPARE(sessions.shown(), std::optional(460800u));
    sessions.closed();
    QVERIFY(!sessions.shown());
    sessions.opened();
    QVERIFY(!sessions.shown());
}

// Written and closed between the beginning and the end of a read, the next host not yet there.
void TestHostSessions::knowsTheSpeedOfBytesWrittenDuringTheRead()
{
    HostSessions sessions;
    sessions.opened();
    sessions.shows(9600);
    sessions.shows(460800);
    sessions.beginRead();
    sessions.wrote();
    sessions.closed();
    QCOMPARE(sessions.endRead(460800, 460800), std::optional(460800u));
}

void TestHostSessions::waitsForBytesWrittenDuringTheRead()
{
    HostSessions sessions;
    sessions.opened();
    sessions.beginRead();
    sessions.closed();
    sessions.opened();
    QCOMPARE(sessions.endRead(921600, 921600), kUnknown);
    QVERIFY(sessions.awaitsLastBytes());
    QCOMPARE(read(sessions, 921600), kUnknown);
    QVERIFY(!sessions.awaitsLastBytes());
}

void TestHostSessions::cannotTellTwoSessionsApart()
{
    HostSessions sessions;
    for (int i = 0; i < 2; ++i) {
        sessions.opened();
        sessions.shows(9600);
        sessions.shows(460800);
        sessions.closed();
    }
    QCOMPARE(read(sessions, 115200), kUnknown);

    sessions.opened();
    sessions.shows(9600);
    sessions.shows(460800);
    sessions.closed();
    sessions.opened();
    sessions.wrote();
    QCOMPARE(read(sessions, 115200), kUnknown);
}

void TestHostSessions::doubtsAChangeDuringTheRead()
{
    HostSessions sessions;
    sessions.opened();
    sessions.beginRead();
    QCOMPARE(sessions.endRead(115200, 921600), kUnknown);
}

QTEST_APPLESS_MAIN(TestHostSessions)
#include "test_host_sessions.moc"
