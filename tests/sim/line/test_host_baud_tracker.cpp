// Assigns bytes to a host session and its baud rate by the order of opens, closes and reads.

#include <QTest>

#include "sim/line/host_baud_tracker.h"

using sim::HostBaudTracker;

namespace {

constexpr std::optional<std::uint32_t> kUnknown;

// A read without any event during it.
std::optional<std::uint32_t> read(HostBaudTracker &sessions, std::uint32_t shown)
{
    sessions.beginRead();
    return sessions.endRead(shown, shown);
}

} // namespace

class TestHostBaudTracker : public QObject
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

void TestHostBaudTracker::usesTheBaudRateOfTheTerminal()
{
    HostBaudTracker sessions;
    QVERIFY(!sessions.isOpen());
    sessions.opened();
    sessions.wrote();
    QCOMPARE(read(sessions, 115200), std::optional(115200U));
    QCOMPARE(read(sessions, 921600), std::optional(921600U));
}

void TestHostBaudTracker::countsOpens()
{
    HostBaudTracker sessions;
    sessions.opened();
    sessions.opened();
    QVERIFY(!sessions.closed());
    QVERIFY(sessions.isOpen());
    QVERIFY(!sessions.awaitsLastBytes());
    QVERIFY(sessions.closed());
    QVERIFY(!sessions.isOpen());
    QVERIFY(sessions.awaitsLastBytes());
}

void TestHostBaudTracker::baudRateIsUnknownInTheFirstReadAfterAClose()
{
    HostBaudTracker sessions;
    sessions.opened();
    sessions.wrote();
    sessions.closed();
    sessions.opened();
    QCOMPARE(read(sessions, 921600), kUnknown);
    QCOMPARE(read(sessions, 921600), std::optional(921600U));
}

void TestHostBaudTracker::keepsAnObservedBaudRateAcrossAClose()
{
    HostBaudTracker sessions;
    sessions.opened();
    sessions.shows(9600);
    sessions.shows(460800);
    sessions.closed();
    sessions.opened();
    QCOMPARE(read(sessions, 115200), std::optional(460800U));
}

void TestHostBaudTracker::ignoresTheBaudRateLeftByThePreviousHost()
{
    HostBaudTracker sessions;
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

void TestHostBaudTracker::showsTheLastObservedBaudRate()
{
    HostBaudTracker sessions;
    sessions.shows(9600); // no host has the port open
    QVERIFY(!sessions.shown());
    sessions.opened();
    QVERIFY(!sessions.shown());
    sessions.shows(9600);
    sessions.shows(460800);
    QCOMPARE(sessions.shown(), std::optional(460800U));
    sessions.closed();
    QVERIFY(!sessions.shown());
    sessions.opened();
    QVERIFY(!sessions.shown());
}

// A host writes and closes during a read, and no other host has opened the port yet.
void TestHostBaudTracker::keepsTheBaudRateOfBytesWrittenDuringTheRead()
{
    HostBaudTracker sessions;
    sessions.opened();
    sessions.shows(9600);
    sessions.shows(460800);
    sessions.beginRead();
    sessions.wrote();
    sessions.closed();
    QCOMPARE(sessions.endRead(460800, 460800), std::optional(460800U));
}

void TestHostBaudTracker::waitsForBytesWrittenDuringTheRead()
{
    HostBaudTracker sessions;
    sessions.opened();
    sessions.beginRead();
    sessions.closed();
    sessions.opened();
    QCOMPARE(sessions.endRead(921600, 921600), kUnknown);
    QVERIFY(sessions.awaitsLastBytes());
    QCOMPARE(read(sessions, 921600), kUnknown);
    QVERIFY(!sessions.awaitsLastBytes());
}

void TestHostBaudTracker::baudRateIsUnknownAfterTwoSessions()
{
    HostBaudTracker sessions;
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

void TestHostBaudTracker::baudRateIsUnknownIfItChangesDuringTheRead()
{
    HostBaudTracker sessions;
    sessions.opened();
    sessions.beginRead();
    QCOMPARE(sessions.endRead(115200, 921600), kUnknown);
}

QTEST_APPLESS_MAIN(TestHostBaudTracker)
#include "test_host_baud_tracker.moc"
