// The simulated device on a serial line: baud rates, sessions, losses. The host is a plain
// descriptor.

#include <sys/ioctl.h>

#include <QTest>

#include "sim/device/imu_simulator_server.h"
#include "tests/fixtures/wait_limit.h"
#include "tests/sim/host.h"
#include "tests/sim/silent_line.h"

using namespace std::chrono_literals;
using Bytes = std::vector<unsigned char>;

namespace {

const Bytes kStart{0x53, 0x43, 0x07, 0x00, 0x12, 0x12, 0x00};
const Bytes kSetBaud115200{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x07, 0x00, 0xC2, 0x01, 0x00, 0xD7, 0x00};
const Bytes kSetBaud921600{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x07, 0x00, 0x10, 0x0E, 0x00, 0x32, 0x00};

sim::DeviceOptions streaming(std::uint32_t baud, std::uint16_t rateHz)
{
    sim::DeviceOptions options;
    options.settings.baud = baud;
    options.settings.rateHz = rateHz;
    return options;
}

// Sets the host's baud rate and waits until the device has observed it.
void setSeenSpeed(Host &host, const sim::ImuSimulatorServer &device, speed_t speed,
                  std::uint32_t baud)
{
    QVERIFY(host.setSpeed(speed));
    QVERIFY(waitForHostBaud(device, baud));
}

std::uint32_t lineBaud(const sim::ImuSimulatorServer &device)
{
    return device.inspect([](const sim::ImuSimulator &simulator) { return simulator.lineBaud(); });
}

int unread(const Host &host)
{
    int count = 0;
    ::ioctl(host.fd(), FIONREAD, &count);
    return count;
}

} // namespace

class TestPty : public QObject
{
    Q_OBJECT

private slots:
    void dropsHostBytesAtAnotherBaudRate();
    void outputIsCorruptedAtAnotherBaudRate();
    void noPacketIsIntactAfterABaudRateChange();
    void receivesCommandsAcrossReopens_data();
    void receivesCommandsAcrossReopens();
    void dropsBytesOfAnEndedSessionAtAnotherBaudRate();
    void sendsNothingWhileClosed();
    void keepsNothingForTheNextSession();
    void isFreeAfterAKilledHost();
    void countsTheSamplesLeftUnread_data();
    void countsTheSamplesLeftUnread();
    void countsTwoHosts();
    void overrunsWhenTheHostDoesNotRead();
    void losesNothingAtFullOutput();
    void skipsSamplesTheLineCannotCarry();
    void hangsUp();
    void servesAGivenMaster();
};

void TestPty::dropsHostBytesAtAnotherBaudRate()
{
    sim::ImuSimulatorServer device(quiet());
    Host host(device.path(), B921600);
    QVERIFY(waitForHostBaud(device, 921600));
    for (const std::uint64_t hostBytesLost : {7, 14}) {
        QVERIFY(host.write(kStart));
        QVERIFY(eventually([&] { return device.counters().hostBytesLost == hostBytesLost; }));
    }
    setSeenSpeed(host, device, B115200, 115200);
    QVERIFY(host.write(kStop));
    QCOMPARE(host.read(kWaitLimit, kStopped.size()), kStopped);
    QCOMPARE(device.receivedCommands(), std::vector<Bytes>{kStop});
}

void TestPty::outputIsCorruptedAtAnotherBaudRate()
{
    sim::ImuSimulatorServer device(streaming(115200, 100));
    Host host(device.path(), B460800);
    QVERIFY(Host::packets(host.read(kWaitLimit, 3000)).empty());
    QCOMPARE(device.counters().sent, 0U);
    QVERIFY(device.counters().corrupted > 0);
    QVERIFY(host.setSpeed(B115200));
    QVERIFY(!Host::packets(host.readPackets(1)).empty());
    QVERIFY(device.counters().sent > 0);
}

void TestPty::noPacketIsIntactAfterABaudRateChange()
{
    sim::ImuSimulatorServer device(streaming(1000000, 1000));
    Host host(device.path(), B1000000);
    for (int i = 0; i < 300; ++i) {
        QVERIFY(host.setSpeed(B1000000));
        QVERIFY(host.read(kWaitLimit, 100).size() >= 100);
        QVERIFY(host.setSpeed(B57600));
        QCOMPARE(Host::packets(host.read(2ms)).size(), std::size_t(0));
    }
    QVERIFY(device.counters().sent > 0);
    QVERIFY(device.counters().corrupted > 0);
}

void TestPty::receivesCommandsAcrossReopens_data()
{
    QTest::addColumn<int>("times");
    QTest::addColumn<bool>("isSpeedKnown");
    QTest::newRow("sessions of microseconds") << 200 << false;
    QTest::newRow("sessions of which the speed is known") << 6 << true;
}

// The host sends the baud rate command, then closes and reopens the port at the new baud rate. A
// real port drains its output before it closes.
void TestPty::receivesCommandsAcrossReopens()
{
    QFETCH(const int, times);
    QFETCH(const bool, isSpeedKnown);
    sim::ImuSimulatorServer device(streaming(115200, 1000));
    Host host(device.path(), B115200);
    for (int i = 0; i < times; ++i) {
        const bool up = i % 2 == 0;
        if (isSpeedKnown) {
            setSeenSpeed(host, device, B57600, 57600);
            setSeenSpeed(host, device, up ? B115200 : B921600, up ? 115200 : 921600);
        }
        QVERIFY(host.write(up ? kSetBaud921600 : kSetBaud115200));
        QVERIFY(host.open(device.path(), up ? B921600 : B115200));
        QVERIFY(eventually([&] { return lineBaud(device) == (up ? 921600U : 115200U); }));
    }
    QCOMPARE(device.receivedCommands().size(), std::size_t(times));
    QVERIFY(!Host::packets(host.readPackets(1)).empty());
}

// The baud rate of a session is known only if the device has observed the host set it; the device
// accepts the bytes of a session of unknown baud rate. So the test waits until the device has
// observed the baud rate. It also waits until the device has read the first command before it
// writes the second.
void TestPty::dropsBytesOfAnEndedSessionAtAnotherBaudRate()
{
    sim::ImuSimulatorServer device(streaming(115200, 1000));
    Host host(device.path(), B115200);
    setSeenSpeed(host, device, B57600, 57600);
    setSeenSpeed(host, device, B921600, 921600);
    QVERIFY(host.write(kStart));
    QVERIFY(host.open(device.path(), B115200));
    QVERIFY(eventually([&] { return device.counters().hostBytesLost == kStart.size(); }));
    QVERIFY(host.write(kStop));
    QVERIFY(eventually([&] { return !device.receivedCommands().empty(); }));
    QCOMPARE(device.receivedCommands(), std::vector<Bytes>{kStop});
}

void TestPty::sendsNothingWhileClosed()
{
    sim::ImuSimulatorServer device(streaming(115200, 100));
    QVERIFY(eventually([&] { return device.counters().noHost > 10; }));
    QCOMPARE(device.counters().sent, 0U);
    silence(device);
    Host host(device.path(), B115200);
    QCOMPARE(unread(host), 0);
    setOutputs(device, 0x7F);
    QVERIFY(eventually([&] { return device.counters().sent > 0; }));
    host.close();
    QVERIFY(eventually([&] { return !device.isOpenedByHost(); }));
    const auto sent = device.counters().sent;
    const auto noHost = device.counters().noHost;
    QVERIFY(eventually([&] { return device.counters().noHost > noHost + 10; }));
    QCOMPARE(device.counters().sent, sent);
}

void TestPty::keepsNothingForTheNextSession()
{
    sim::ImuSimulatorServer device(streaming(115200, 100));
    Host host(device.path(), B115200);
    QVERIFY(eventually([&] { return unread(host) > 1000; }));
    host.close();
    QVERIFY(eventually([&] { return !device.isOpenedByHost(); }));
    silence(device);
    const int fd = ::open(device.path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    int count = 0;
    ::ioctl(fd, FIONREAD, &count);
    ::close(fd);
    QCOMPARE(count, 0);
}

// The test reads the port's exclusive flag, because root may open an exclusive port.
void TestPty::isFreeAfterAKilledHost()
{
    sim::ImuSimulatorServer device(quiet());
    const auto isExclusive = [](const Host &host) {
        int exclusive = -1;
        ::ioctl(host.fd(), TIOCGEXCL, &exclusive);
        return exclusive != 0;
    };
    Host killed(device.path(), B115200);
    QCOMPARE(::ioctl(killed.fd(), TIOCEXCL), 0);
    QVERIFY(isExclusive(killed));
    QVERIFY(eventually([&] { return device.isOpenedByHost(); }));
    killed.close();
    QVERIFY(eventually([&] { return !device.isOpenedByHost(); }));

    Host next;
    QVERIFY(eventually([&] { return next.open(device.path(), B115200); }));
    QVERIFY(eventually([&] { return !isExclusive(next); }));
}

void TestPty::countsTheSamplesLeftUnread_data()
{
    QTest::addColumn<int>("bytesRead");
    QTest::addColumn<int>("samplesRead");
    QTest::newRow("nothing") << 0 << 0;
    QTest::newRow("part of one") << 92 << 0;
    QTest::newRow("one") << 93 << 1;
    QTest::newRow("ten and a byte") << 931 << 10;
}

// A sample without its last byte counts as unread.
void TestPty::countsTheSamplesLeftUnread()
{
    QFETCH(const int, bytesRead);
    QFETCH(const int, samplesRead);
    for (int attempt = 1; attempt <= 20; ++attempt) {
        sim::ImuSimulatorServer device(quiet());
        Host host(device.path(), B115200);
        setOutputs(device, 0x7F);
        QVERIFY(eventually([&] { return unread(host) > 1000; }));
        silence(device);
        if (device.counters().bytesSent > sim::kTerminalQueue)
            continue; // the machine was too busy to stop the stream in time
        QVERIFY(eventually([&] { return unread(host) == int(device.counters().bytesSent); }));
        Bytes read(static_cast<std::size_t>(bytesRead));
        QCOMPARE(::read(host.fd(), read.data(), read.size()), ssize_t(bytesRead));
        host.close();
        QVERIFY(eventually([&] { return !device.isOpenedByHost(); }));
        const sim::LineCounters line = device.counters();
        QCOMPARE(line.samples, line.sent);
        QCOMPARE(line.samples - line.unread, std::uint64_t(samplesRead));
        return;
    }
    QFAIL("the machine was too busy in every attempt");
}

// The device must count two opens, or two closes, in a row separately.
void TestPty::countsTwoHosts()
{
    sim::ImuSimulatorServer device(quiet());
    for (int i = 0; i < 50; ++i) {
        Host first(device.path(), B115200);
        Host second(device.path(), B115200);
        QVERIFY(eventually([&] { return device.isOpenedByHost(); }));
        first.close();
        QVERIFY(second.write(kStart));
        QVERIFY(eventually([&] { return device.receivedCommands().size() == std::size_t(i + 1); }));
        QVERIFY(device.isOpenedByHost());
        second.close();
        QVERIFY(eventually([&] { return !device.isOpenedByHost(); }));
    }
}

void TestPty::overrunsWhenTheHostDoesNotRead()
{
    sim::ImuSimulatorServer device(streaming(1000000, 1000));
    Host host(device.path(), B1000000);
    QVERIFY(eventually([&] { return device.counters().overrun > 10; }));
    // After the overrun the device still receives commands.
    QVERIFY(host.write(kStop));
    QVERIFY(eventually([&] { return device.receivedCommands() == std::vector<Bytes>{kStop}; }));
    QVERIFY(Host::packets(host.readPackets(11)).size() > 10);
}

// Holds while the host reads in time. If a busy machine delays the host until its queue is full,
// the test tries again.
void TestPty::losesNothingAtFullOutput()
{
    for (int chance = 1; chance <= 20; ++chance) {
        sim::DeviceOptions options = streaming(1000000, 1000);
        options.settings.outputs = 0;
        sim::ImuSimulatorServer device(options);
        Host host(device.path(), B1000000);
        setOutputs(device, 0xFF);
        Bytes all = host.readUntil([&](const Bytes &) { return device.counters().sent > 1000; });
        silence(device);
        const auto counters = device.counters();
        if (counters.overrun > 0)
            continue;
        QVERIFY(counters.sent > 1000);
        const Bytes rest = host.read(kWaitLimit, counters.bytesSent - all.size());
        all.insert(all.end(), rest.begin(), rest.end());
        QCOMPARE(counters.skipped, 0U);
        QCOMPARE(Host::packets(all).size(), std::size_t(counters.sent));
        QCOMPARE(all.size(), std::size_t(counters.bytesSent));
        return;
    }
    QFAIL("the host never kept up");
}

void TestPty::skipsSamplesTheLineCannotCarry()
{
    sim::ImuSimulatorServer device(streaming(115200, 1000));
    const auto begin = std::chrono::steady_clock::now();
    Host host(device.path(), B115200);
    const std::size_t bytes =
        host.readUntil([&](const Bytes &) { return device.counters().skipped > 1000; }).size();
    const double passed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    QVERIFY(device.counters().skipped > 1000);
    QVERIFY(bytes > 0);
    QVERIFY2(static_cast<double>(bytes) <= 11520 * passed + 300,
             qPrintable(QString::number(bytes)));
}

void TestPty::hangsUp()
{
    sim::ImuSimulatorServer device(streaming(115200, 100));
    const std::string path = device.path();
    Host host(path, B115200);
    QVERIFY(!host.read(kWaitLimit, 100).empty());
    device.unplug();
    QVERIFY(!device.isPluggedIn());
    QVERIFY(device.path().empty());
    QVERIFY(!host.write(kStart));
    QVERIFY(::access(path.c_str(), F_OK) != 0);
    device.unplug(); // a second unplug has no effect
    host.close();
    device.plugIn();
    device.plugIn();
    QVERIFY(host.open(device.path(), B115200));
    QVERIFY(!Host::packets(host.readPackets(1)).empty());
}

void TestPty::servesAGivenMaster()
{
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY); // blocks, unlike the server's own
    QVERIFY(::grantpt(master) == 0 && ::unlockpt(master) == 0);
    sim::ImuSimulatorServer device(master, quiet());
    Host host(device.path(), B115200);
    QVERIFY(host.write(kStop));
    QCOMPARE(host.read(kWaitLimit, kStopped.size()), kStopped);
}

QTEST_GUILESS_MAIN(TestPty)
#include "test_pty.moc"
