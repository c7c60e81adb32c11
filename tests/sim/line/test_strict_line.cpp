// What a real serial line does and a kind one does not: the stream begins in the middle of a
// packet, the receive queue overruns, output stalls, and an adapter groups the bytes.

#include <algorithm>
#include <cerrno>
#include <set>

#include <QTest>

#include "sim/device/imu_simulator_server.h"
#include "tests/fixtures/wait_limit.h"
#include "tests/sim/host.h"
#include "tests/sim/silent_line.h"

using namespace std::chrono_literals;
using Bytes = std::vector<unsigned char>;

namespace {

constexpr std::uint32_t kBaud = 1000000;
// A quaternion: 4 floats, their code and the frame.
constexpr std::size_t kSampleSize = 23;
const Bytes kSetRate200{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x08, 0xC8, 0x00, 0x00, 0x00, 0xDD, 0x00};

sim::LineOptions withAdapter(const sim::AdapterModel &model)
{
    sim::LineOptions options;
    options.adapter = model;
    return options;
}

// Opens the port of a silent device and waits until the device has observed the baud rate.
void open(Host &host, const sim::ImuSimulatorServer &device)
{
    QVERIFY(host.openWithoutDropping(device.path(), B1000000));
    QVERIFY(waitForHostBaud(device, kBaud));
}

// The number of bytes before the first sample that arrives whole.
std::size_t bytesBeforeFirstSample(const Bytes &bytes)
{
    const Bytes whole = Host::packets(bytes).front();
    return static_cast<std::size_t>(
        std::search(bytes.begin(), bytes.end(), whole.begin(), whole.end()) - bytes.begin());
}

// What hosts find that open the port of the same device one after the other.
std::vector<std::size_t> remainders(std::uint64_t seed, int openings)
{
    std::vector<std::size_t> found;
    sim::ImuSimulatorServer device(quiet(kBaud));
    device.setLineOptions({.startsMidPacket = true, .seed = seed});
    for (int i = 0; i < openings; ++i) {
        {
            Host host;
            open(host, device);
            setOutputs(device, 0x04);
            found.push_back(bytesBeforeFirstSample(host.readPackets(1)));
            silence(device);
        }
        // Otherwise the next host can be taken for this one.
        if (!eventually([&] { return !device.isOpenedByHost(); }))
            return {};
    }
    // The sample that each host has missed in part is not counted as sent.
    if (device.counters().noHost != static_cast<std::uint64_t>(openings))
        return {};
    return found;
}

} // namespace

class TestStrictLine : public QObject
{
    Q_OBJECT

private slots:
    void streamBeginsInTheMiddleOfAPacket();
    void repliesAreWholeAfterAnOpening();
    void receiveQueueOverruns();
    void countsFramingErrors();
    void stalledOutputBlocksTheHost();
    void adapterGroupsBytes();
    void adapterStartsEmpty();
    void countsWithAnAdapter();
};

void TestStrictLine::streamBeginsInTheMiddleOfAPacket()
{
    const std::vector<std::size_t> found = remainders(1, 12);
    QCOMPARE(found.size(), std::size_t(12));
    for (const std::size_t size : found)
        QVERIFY2(size >= 1 && size < kSampleSize, qPrintable(QString::number(size)));
    QVERIFY(std::set<std::size_t>(found.begin(), found.end()).size() > 3);
    QCOMPARE(remainders(1, 12), found);
    QVERIFY(remainders(2, 12) != found);
}

void TestStrictLine::repliesAreWholeAfterAnOpening()
{
    sim::ImuSimulatorServer device(quiet(kBaud));
    device.setLineOptions({.startsMidPacket = true});
    Host host;
    open(host, device);
    QVERIFY(host.write(kStop));
    QCOMPARE(host.readPackets(1), kStopped);
}

void TestStrictLine::receiveQueueOverruns()
{
    sim::DeviceOptions options = quiet(kBaud);
    options.settings.rateHz = 1000;
    for (int attempt = 1; attempt <= 20; ++attempt) {
        sim::ImuSimulatorServer device(options);
        device.setLineOptions({.receiveQueue = sim::kTerminalQueue});
        Host host;
        open(host, device);
        setOutputs(device, 0x04);
        QVERIFY(eventually([&] { return device.counters().overrun >= 100; }));
        silence(device);
        const sim::LineCounters line = device.counters();
        // The kernel may still have been moving the last samples when the queue was measured.
        Bytes bytes = host.read(kWaitLimit, sim::kTerminalQueue);
        const Bytes rest = host.read(20ms);
        bytes.insert(bytes.end(), rest.begin(), rest.end());
        QVERIFY(bytes.size() >= sim::kTerminalQueue);
        // On a busy machine the kernel moves bytes late: it held more than the queue, or its own
        // buffer was full, whose losses are not counted in bytes.
        if (bytes.size() >= 2 * sim::kTerminalQueue ||
            line.overrunBytes < (line.overrun - 1) * kSampleSize)
            continue;
        QCOMPARE(Host::packets(bytes).size(), static_cast<std::size_t>(line.samples));
        // Everything else is lost, and the line works again.
        setOutputs(device, 0x04);
        QVERIFY(!Host::packets(host.readPackets(3)).empty());
        return;
    }
    QFAIL("the machine was too busy in every attempt");
}

void TestStrictLine::countsFramingErrors()
{
    sim::ImuSimulatorServer device(quiet(kBaud));
    Host host(device.path(), B57600);
    QVERIFY(waitForHostBaud(device, 57600));
    setOutputs(device, 0x04);
    QVERIFY(eventually([&] { return device.counters().corrupted >= 5; }));
    silence(device);
    const sim::LineCounters line = device.counters();
    QCOMPARE(line.framingErrors, line.corrupted * kSampleSize);
    QCOMPARE(line.samples, std::uint64_t(0));
}

void TestStrictLine::stalledOutputBlocksTheHost()
{
    sim::ImuSimulatorServer device(quiet(kBaud));
    Host host;
    open(host, device);
    device.setLineOptions({.outputStallsAt = sim::Time(0), .outputStallTime = 24h});
    // Until the device's thread has seen the option, the port takes bytes.
    QVERIFY(eventually([&] {
        errno = 0;
        return !host.write(kStop) && errno == EAGAIN;
    }));
    pollfd request{host.fd(), POLLOUT, 0};
    QCOMPARE(::poll(&request, 1, 0), 0);
    host.readUntil([&](const Bytes &) {
        return Host::packets(host.read(0ms)).empty(); // the replies to the earlier writes
    });
    device.setLineOptions({});
    QVERIFY(::poll(&request, 1, kWaitLimitMs) == 1);
    QVERIFY(host.write(kStop));
    QVERIFY(!host.readPackets(1).empty());
}

// Each USB packet arrives at once: with a timer of 16 ms, the samples of 1 ms arrive 62 bytes at a
// time.
void TestStrictLine::adapterGroupsBytes()
{
    sim::DeviceOptions options = quiet(kBaud);
    options.settings.rateHz = 1000;
    sim::ImuSimulatorServer device(options);
    device.setLineOptions(withAdapter(sim::AdapterModel::ftdi(16ms)));
    Host host;
    open(host, device);
    setOutputs(device, 0x04);
    // A host that reads what is there finds the ends of packets only by chance at the end of a
    // read.
    std::set<std::size_t> ends;
    std::size_t position = 0;
    QVERIFY(eventually([&] {
        position += host.read(10ms, 1).size();
        ends.insert(position % kSampleSize);
        return ends.size() > 8;
    }));
    silence(device);
    host.read(50ms);
}

// What an adapter holds when a host closes the port does not reach the next host.
void TestStrictLine::adapterStartsEmpty()
{
    sim::ImuSimulatorServer device(quiet(kBaud));
    device.setLineOptions(withAdapter({62, 1h})); // sends nothing before it has 62 bytes
    Host host;
    open(host, device);
    QVERIFY(host.write(kSetRate200));
    QVERIFY(eventually([&] {
        return device.inspect([](const auto &d) { return d.counters().repliesSent; }) == 1;
    }));
    const auto now = [&] { return device.inspect([](const auto &d) { return d.now(); }); };
    const sim::Time queued = now();
    host.close();
    // Until the reply has left the device, and the close has been noticed.
    QVERIFY(eventually([&] {
        device.change([](sim::ImuSimulator &) {}); // wakes it
        return now() > queued + 1ms && !device.isOpenedByHost();
    }));
    open(host, device);
    for (int i = 0; i < 8; ++i)
        QVERIFY(host.write(kStop));
    const Bytes bytes = host.read(kWaitLimit, 62);
    QCOMPARE(Bytes(bytes.begin(), bytes.begin() + 8), kStopped);
}

// The counts are those of packets, although they arrive in parts.
void TestStrictLine::countsWithAnAdapter()
{
    for (int attempt = 1; attempt <= 20; ++attempt) {
        sim::ImuSimulatorServer device(quiet(kBaud));
        device.setLineOptions(withAdapter(sim::AdapterModel::ftdi(1ms)));
        Host host;
        open(host, device);
        setOutputs(device, 0xFF);
        Bytes all = host.readPackets(50);
        silence(device);
        const sim::LineCounters line = device.counters();
        if (line.overrun > 0)
            continue; // the machine was too busy to read in time
        const Bytes rest = host.read(kWaitLimit, line.bytesSent - all.size());
        all.insert(all.end(), rest.begin(), rest.end());
        QCOMPARE(Host::packets(all).size(), static_cast<std::size_t>(line.samples));
        QCOMPARE(all.size(), static_cast<std::size_t>(line.bytesSent));
        QCOMPARE(line.sent, line.samples);
        // A host that closes without reading leaves the samples unread.
        setOutputs(device, 0xFF);
        QVERIFY(eventually([&] { return device.counters().samples >= line.samples + 10; }));
        silence(device);
        const sim::LineCounters later = device.counters();
        if (later.bytesSent - line.bytesSent > sim::kTerminalQueue)
            continue; // too busy to stop the stream in time
        host.close();
        QVERIFY(
            eventually([&] { return device.counters().unread == later.samples - line.samples; }));
        return;
    }
    QFAIL("the machine was too busy in every attempt");
}

QTEST_APPLESS_MAIN(TestStrictLine)
#include "test_strict_line.moc"
