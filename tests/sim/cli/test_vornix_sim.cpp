// The program vornix-sim, started as its users start it.

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstring>

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "tests/fixtures/wait_limit.h"
#include "tests/sim/host.h"

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Bytes = std::vector<unsigned char>;

namespace {

// The build puts it beside this test's folder.
QString program()
{
    return QCoreApplication::applicationDirPath() + u"/../bin/vornix-sim"_s;
}

struct Outcome
{
    int status = -1;
    QString out;
    QString err;
};

Outcome run(const QStringList &arguments)
{
    QProcess process;
    process.start(program(), arguments);
    if (!process.waitForFinished(kWaitLimitMs) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

// A running vornix-sim and the path it has printed.
class Served
{
public:
    explicit Served(const QStringList &arguments)
    {
        m_process.start(program(), arguments);
        m_path = nextLine();
    }
    ~Served()
    {
        m_process.terminate(); // SIGTERM, so that a coverage build can write its counters
        if (!m_process.waitForFinished(kWaitLimitMs))
            m_process.kill();
        m_process.waitForFinished();
    }

    std::string nextLine()
    {
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(kWaitLimitMs))
                return {};
        }
        return m_process.readLine().trimmed().toStdString();
    }

    const std::string &path() const { return m_path; }
    void signal(int number) { ::kill(static_cast<pid_t>(m_process.processId()), number); }
    bool endsWith(int status)
    {
        return m_process.waitForFinished(kWaitLimitMs) &&
               m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == status;
    }

private:
    QProcess m_process;
    std::string m_path;
};

// The creation and removal of links in a folder, from construction on.
class LinkEvents
{
public:
    explicit LinkEvents(const QString &folder)
        : m_fd(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
    {
        ::inotify_add_watch(m_fd, QFile::encodeName(folder).constData(), IN_CREATE | IN_DELETE);
    }
    ~LinkEvents() { ::close(m_fd); }
    LinkEvents(const LinkEvents &) = delete;
    LinkEvents &operator=(const LinkEvents &) = delete;

    // Returns "made" or "removed"; empty if nothing happens within kWaitLimit.
    QString next()
    {
        alignas(inotify_event) std::array<char, sizeof(inotify_event) + NAME_MAX + 1> buffer{};
        pollfd request{m_fd, POLLIN, 0};
        if (m_pending.isEmpty() && ::poll(&request, 1, kWaitLimitMs) > 0) {
            const ssize_t size = ::read(m_fd, buffer.data(), buffer.size());
            for (ssize_t at = 0; at < size;) {
                inotify_event event{};
                std::memcpy(&event, buffer.data() + at, sizeof event);
                at += static_cast<ssize_t>(sizeof event + event.len);
                m_pending << (event.mask & IN_CREATE ? u"made"_s : u"removed"_s);
            }
        }
        return m_pending.isEmpty() ? QString() : m_pending.takeFirst();
    }

private:
    const int m_fd;
    QStringList m_pending;
};

const Bytes kGet{0x53, 0x43, 0x0C, 0x00, 0x0C, 0x07, 0x08, 0x09, 0x10, 0x11, 0x45, 0x00};
const Bytes kSetRate200{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x08, 0xC8, 0x00, 0x00, 0x00, 0xDD, 0x00};

// The data rate in the last complete settings reply, 0 if there is none.
int rateIn(const Bytes &bytes)
{
    int rate = 0;
    for (const Bytes &answer : Host::packets(bytes))
        rate = answer.size() == 27 ? answer[10] | answer[11] << 8 : rate;
    return rate;
}

// The data rate that the device reports, 0 if it does not reply.
int reportedRate(Host &host)
{
    host.write(kGet);
    return rateIn(host.read(kWaitLimit, 27));
}

} // namespace

class TestVornixSim : public QObject
{
    Q_OBJECT

private slots:
    void printsHelpAndVersion();
    void refusesBadOptions();
    void servesUntilInterrupted_data();
    void servesUntilInterrupted();
    void powerCyclesOnHangup();
    void movesTheCable();
    void unplugsAtTheStatedTime();
    void endsWithItsCommand_data();
    void endsWithItsCommand();
    void showsItsPortsToTheCommand();
    void forwardsASignalToItsCommand();
    void printsStatisticsAtTheEnd();
    void runsASanitizedCommand();
    void replaysWhatItRecorded_data();
    void replaysWhatItRecorded();
    void refusesRecordings_data();
    void refusesRecordings();
};

void TestVornixSim::printsHelpAndVersion()
{
    const Outcome help = run({u"--help"_s});
    QCOMPARE(help.status, 0);
    QVERIFY(help.out.contains(u"Usage: vornix-sim [OPTION...]\n"_s));
    QVERIFY(help.err.isEmpty());
    const Outcome version = run({u"--version"_s});
    QCOMPARE(version.status, 0);
    QVERIFY(version.out.startsWith(u"vornix-sim "_s));
}

void TestVornixSim::refusesBadOptions()
{
    const Outcome outcome = run({u"--motion"_s, u"fall"_s});
    QCOMPARE(outcome.status, 2);
    QVERIFY2(outcome.err.startsWith(u"vornix-sim: --motion: fall"_s), qPrintable(outcome.err));
    QVERIFY2(outcome.err.endsWith(u"\nTry vornix-sim --help.\n"_s), qPrintable(outcome.err));
    QVERIFY(outcome.out.isEmpty());
}

void TestVornixSim::servesUntilInterrupted_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TestVornixSim::servesUntilInterrupted()
{
    QFETCH(const int, signal);
    QTemporaryDir directory;
    const QString link = directory.filePath(u"port"_s);
    Served sim({u"--rate"_s, u"200"_s, u"--baud"_s, u"921600"_s, u"--link"_s, link});
    QCOMPARE(QString::fromStdString(sim.path()), link);
    Host host(sim.path(), B921600);
    QVERIFY(Host::packets(host.readPackets(11)).size() > 10);
    sim.signal(signal);
    QVERIFY(sim.endsWith(0));
    QVERIFY(!QFileInfo(link).isSymLink());
}

void TestVornixSim::powerCyclesOnHangup()
{
    Served sim({u"--outputs"_s, u"0"_s});
    Host host(sim.path(), B115200);
    QVERIFY(host.write(kSetRate200));
    QCOMPARE(host.read(kWaitLimit, 9).size(), std::size_t(9));
    QCOMPARE(reportedRate(host), 200);
    sim.signal(SIGHUP);
    const Bytes answers = host.readUntil([&](const Bytes &all) {
        host.write(kGet); // the device ignores commands while it starts
        return rateIn(all) == 100;
    });
    QCOMPARE(rateIn(answers), 100);
}

void TestVornixSim::movesTheCable()
{
    QTemporaryDir directory;
    const QString link = directory.filePath(u"port"_s);
    Served sim({u"--link"_s, link});
    QVERIFY(QFileInfo(link).isSymLink());
    sim.signal(SIGUSR1);
    QVERIFY(eventually([&] { return !QFileInfo(link).isSymLink(); }));
    sim.signal(SIGUSR1);
    QVERIFY(eventually([&] { return QFileInfo(link).isSymLink(); }));
    Host host(sim.path(), B115200);
    QVERIFY(!Host::packets(host.readPackets(1)).empty());
}

// Only the minimum times are certain. The kernel queues the events of the link, so a late reader
// gets all of them.
void TestVornixSim::unplugsAtTheStatedTime()
{
    QTemporaryDir directory;
    LinkEvents events(directory.path());
    QElapsedTimer time;
    time.start();
    Served sim({u"--link"_s, directory.filePath(u"port"_s), u"--unplug-after"_s, u"0.3"_s,
                u"--return-after"_s, u"0.4"_s});
    QCOMPARE(events.next(), u"made"_s);
    QCOMPARE(events.next(), u"removed"_s);
    QVERIFY2(time.elapsed() >= 300, qPrintable(QString::number(time.elapsed())));
    QCOMPARE(events.next(), u"made"_s);
    QVERIFY2(time.elapsed() >= 700, qPrintable(QString::number(time.elapsed())));
}

void TestVornixSim::endsWithItsCommand_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<int>("status");
    QTest::newRow("success") << QStringList{u"true"_s} << 0;
    QTest::newRow("status 7") << QStringList{u"sh"_s, u"-c"_s, u"exit 7"_s} << 7;
    QTest::newRow("killed") << QStringList{u"sh"_s, u"-c"_s, u"kill -9 $$"_s} << 137;
    QTest::newRow("broken pipe") << QStringList{u"sh"_s, u"-c"_s, u"kill -PIPE $$"_s} << 141;
    QTest::newRow("not found") << QStringList{u"/does/not/exist"_s} << 127;
    QTest::newRow("not executable") << QStringList{u"/dev/null"_s} << 126;
}

void TestVornixSim::endsWithItsCommand()
{
    QFETCH(const QStringList, command);
    QFETCH(const int, status);
    QCOMPARE(run(QStringList{u"--"_s} + command).status, status);
}

void TestVornixSim::showsItsPortsToTheCommand()
{
    // The command has its own /dev: there the port opens, accepts a baud rate and carries packets.
    const QString script = u"ls /sys/class/tty; stty -F /dev/ttyACM3 raw -echo 460800 && "
                           "head -c 3000 /dev/ttyACM3"_s;
    QProcess process;
    process.start(program(), {u"--baud"_s, u"460800"_s, u"--port"_s, u"ttyUSB0"_s, u"--port"_s,
                              u"ttyACM3"_s, u"--"_s, u"sh"_s, u"-c"_s, script});
    QVERIFY(process.waitForFinished(kWaitLimitMs));
    const QByteArray output = process.readAllStandardOutput();
    QVERIFY(output.startsWith("ttyACM3\nttyUSB0\n"));
    QVERIFY(Host::packets(Bytes(output.begin(), output.end())).size() > 10);
    QCOMPARE(process.exitCode(), 0);
    QVERIFY(!QFileInfo::exists(u"/dev/ttyACM3"_s));
}

void TestVornixSim::forwardsASignalToItsCommand()
{
    Served sim({u"--"_s, u"sh"_s, u"-c"_s,
                u"trap 'exit 5' TERM; echo ready; while :; do sleep 0.05; done"_s});
    QCOMPARE(sim.path(), std::string("ready"));
    sim.signal(SIGTERM);
    QVERIFY(sim.endsWith(5));
}

void TestVornixSim::printsStatisticsAtTheEnd()
{
    const Outcome outcome = run({u"--statistics"_s, u"--silent"_s, u"--port"_s, u"ttyUSB0"_s,
                                 u"--port"_s, u"ttyACM3"_s, u"--"_s, u"true"_s});
    QCOMPARE(outcome.status, 0);
    const QString none =
        u"sent=0 samples=0 unread=0 skipped=0 corrupted=0 no_host=0 overrun=0 bytes=0 "
        "overrun-bytes=0 framing=0 refused=0\n"_s;
    QCOMPARE(outcome.err, u"vornix-sim: ttyUSB0: "_s + none + u"vornix-sim: ttyACM3: "_s + none);
}

// In a sanitizer build this program is such a command; in other builds it is an ordinary one.
void TestVornixSim::runsASanitizedCommand()
{
    const Outcome outcome = run({u"--"_s, program(), u"--version"_s});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.status, 0);
    QVERIFY(outcome.out.startsWith(u"vornix-sim "_s));
}

void TestVornixSim::replaysWhatItRecorded_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("as fast as recorded") << QStringList{};
    QTest::newRow("3 times as fast") << QStringList{u"--speed"_s, u"3"_s};
    QTest::newRow("as fast as the host reads") << QStringList{u"--speed"_s, u"max"_s};
}

void TestVornixSim::replaysWhatItRecorded()
{
    QFETCH(const QStringList, options);
    const QTemporaryDir directory;
    const QString file = directory.filePath(u"line.rec"_s);
    Bytes recorded;
    {
        Served sim({u"--record"_s, file, u"--baud"_s, u"460800"_s, u"--noise"_s, u"5"_s});
        Host host(sim.path(), B460800);
        QVERIFY(host.write(kGet));
        recorded = host.read(kWaitLimit, 3000);
        sim.signal(SIGTERM);
        QVERIFY(sim.endsWith(0));
    }
    QVERIFY(recorded.size() >= 3000);
    Served sim(QStringList{u"--replay"_s, file} + options);
    Host host;
    QVERIFY(
        host.openWithoutDropping(sim.path(), B460800)); // it sends no bytes before the rate is set
    QVERIFY(host.write(kGet));
    // The recording's host may have dropped bytes from before it was ready, but none later.
    const auto isAllThere = [&](const Bytes &replayed) {
        return std::search(replayed.begin(), replayed.end(), recorded.begin() + 1000,
                           recorded.end()) != replayed.end();
    };
    QVERIFY(isAllThere(host.readUntil(isAllThere)));
}

void TestVornixSim::refusesRecordings_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("problem");
    QTest::newRow("none") << QStringList{u"--replay"_s, u"/does/not/exist"_s}
                          << u"cannot read /does/not/exist"_s;
    QTest::newRow("folder") << QStringList{u"--replay"_s, u"/"_s} << u"cannot read /"_s;
    QTest::newRow("another kind") << QStringList{u"--replay"_s, program()}
                                  << program() + u", line 1: not a recording"_s;
    QTest::newRow("no such folder")
        << QStringList{u"--record"_s, u"/does/not/exist"_s} << u"cannot write /does/not/exist"_s;
}

void TestVornixSim::refusesRecordings()
{
    QFETCH(const QStringList, options);
    QFETCH(const QString, problem);
    const Outcome outcome = run(options);
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.err, u"vornix-sim: "_s + problem + u"\n"_s);
}

QTEST_GUILESS_MAIN(TestVornixSim)
#include "test_vornix_sim.moc"
