// Assigns bytes to a host session and its baud rate by the order of opens, closes and reads.

#include "sim/HostSessions.h"

#include <QTest>

using sim::HostSessions;

namespace {

constexpr std::optional<std::uint32_t> kUnknown;

// A read without any event during it.
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
    void usesTheBaudRateOfTheTerminal();
    void countsOpens();
    void baudRateIsUnknownInTheFirstReadAfterAClose();
    void keepsAnObservedBaudRateAcrossAClose();
    void ignoresTheBaudRateLeftByThePreviousHost();
    void showsTheLastObservedBaudRate();
    void keepsTheBaudRateOfBytesWrittenDuringTheRead();
    void waitsForBytesWrittenDuringTheRead();
    void baudRateIsUnknownAfterTwoSessions();
    void baudRateIsUnknownIfItChangesDuringTheRead();
};

void TestHostSessions::usesTheBaudRateOfTheTerminal()
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

void TestHostSessions::baudRateIsUnknownInTheFirstReadAfterAClose()
{
    HostSessions sessions;
    sessions.opened();
    sessions.wrote();
    sessions.closed();
    sessions.opened();
    QCOMPARE(read(sessions, 921600), kUnknown);
    QCOMPARE(read(sessions, 921600), std::optional(921600u));
}

void TestHostSessions::keepsAnObservedBaudRateAcrossAClose()
{
    HostSessions sessions;
    sessions.opened();
    sessions.shows(9600);
    sessions.shows(460800);
    sessions.closed();
    sessions.opened();
    QCOMPARE(read(sessions, 115200), std::optional(460800u));
}

void TestHostSessions::ignoresTheBaudRateLeftByThePreviousHost()
{
    HostSessions sessions;
    sessions.opened();
    sessions.shows(9600);
    sessions.shows(9600);
    sessions.closed();
    sessions.opened();
    QCOMPARE(read(sessions, 115200), kUnknown);
    // A baud rate observed in one session does not apply to the next session.
    sessions.shows(115200);
    sessions.shows(57600);
    sessions.closed();
    read(sessions, 57600);
    sessions.opened();
    sessions.shows(57600);
    sessions.closed();
    QCOMPARE(read(sessions, 115200), kUnknown);
}

void TestHostSessions::showsTheLastObservedBaudRate()
{
    HostSessions sessions;
    sessions.shows(9600); // no host has the port open
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

// A host writes and closes during a read, and no other host has opened the port yet.
void TestHostSessions::keepsTheBaudRateOfBytesWrittenDuringTheRead()
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

void TestHostSessions::baudRateIsUnknownAfterTwoSessions()
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

void TestHostSessions::baudRateIsUnknownIfItChangesDuringTheRead()
{
    HostSessions sessions;
    sessions.opened();
    sessions.beginRead();
    QCOMPARE(sessions.endRead(115200, 921600), kUnknown);
}

QTEST_APPLESS_MAIN(TestHostSessions)
#include "test_host_sessions.moc"
