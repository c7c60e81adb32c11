// A line whose other end reads nothing, and output that has not left the port yet.
//
// A pseudo-terminal passes accepted bytes on at once, so its output queue is always empty. This
// program therefore overrides ioctl(), tcdrain(), tcflush() and close(). The test sets the size of
// the output queue and the error of close(); everything else is passed to the system.

#include <cerrno>
#include <cstdarg>
#include <future>
#include <iostream>
#include <sstream>

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <boost/system/system_error.hpp>

#include "driver/imu.h"
#include "tests/fixtures/bytes.h"
#include "tests/fixtures/pty_port.h"
#include "tests/fixtures/test_main.h"

using namespace std::chrono_literals;

namespace {

// Guarded by g_lock, because several drivers may run at the same time.
std::mutex g_lock;
QByteArrayList g_calls;    // calls for the port, in order
QList<int> g_queueSizes;   // sizes of the output queue to report; the last one repeats
bool g_closeFails = false; // the next close() of a terminal fails

template <typename Function>
Function *systems(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

unsigned int baudConstant(int fd)
{
    termios line{};
    return ::tcgetattr(fd, &line) == 0 ? ::cfgetospeed(&line) : 0;
}

} // namespace

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (request == TIOCOUTQ || request == TIOCNXCL) {
        const std::lock_guard lock(g_lock);
        if (request == TIOCNXCL) {
            g_calls.append("release");
        } else if (!g_queueSizes.isEmpty()) {
            *static_cast<int *>(argument) = g_queueSizes.first();
            g_calls.append("queue " + QByteArray::number(g_queueSizes.first()));
            if (g_queueSizes.size() > 1)
                g_queueSizes.removeFirst();
            return 0;
        }
    }
    static const auto real = systems<int(int, unsigned long, ...)>("ioctl");
    return real(fd, request, argument);
}

extern "C" int tcdrain(int fd)
{
    {
        const std::lock_guard lock(g_lock);
        g_calls.append(baudConstant(fd) == B115200 ? "drain at 115200" : "drain too late");
    }
    static const auto real = systems<int(int)>("tcdrain");
    return real(fd);
}

extern "C" int tcflush(int fd, int queue) noexcept
{
    {
        const std::lock_guard lock(g_lock);
        g_calls.append(queue == TCOFLUSH ? "drop" : "flush");
    }
    static const auto real = systems<int(int, int)>("tcflush");
    return real(fd, queue);
}

extern "C" int close(int fd)
{
    static const auto real = systems<int(int)>("close");
    const bool fails = g_closeFails && ::isatty(fd);
    const int result = real(fd);
    if (!fails)
        return result;
    g_closeFails = false;
    errno = EIO;
    return -1;
}

namespace {

constexpr auto kOldBaud = 115200;
constexpr auto kNewBaud = 921600;
const QByteArray kSetNewBaud = bytes::hex("53 43 0C 00 0D 07 00 10 0E 00 32 00");
const QByteArray kTimedOut = "write_some: Connection timed out";
constexpr auto kDriversLimit = 5s;

template <typename Operation>
QByteArray errorOf(Operation operation)
{
    try {
        operation();
    } catch (const boost::system::system_error &error) {
        return error.what();
    }
    return {};
}

protocol::Bytes view(const QByteArray &bytes)
{
    return {reinterpret_cast<const unsigned char *>(bytes.constData()),
            static_cast<std::size_t>(bytes.size())};
}

// A driver without a reader thread; its sleeps return at once.
struct Driver
{
    Driver()
    {
        imu.setSleeper([](std::chrono::milliseconds) {});
    }

    bool connect(const PtyPort &port) { return imu.connect(port.path(), kOldBaud, 8, 0, 1); }
    bool isConnected() { return imu.setSyncEnabled(true); }
    // Connects to a new port: the driver must decode its bytes, and its commands must arrive.
    bool worksOn(PtyPort &port)
    {
        unsigned char byte = 0;
        return connect(port) && port.write("x") && imu.readNBytes(1, &byte) == 1 && byte == 'x' &&
               imu.setBaudRate_(kNewBaud) && port.read(12) == kSetNewBaud;
    }

    ::imu imu{nullptr};
};

// Repeated, because a port that has just refused a byte may still accept some.
struct Stalled
{
    QByteArray error;
    std::chrono::steady_clock::duration lastCall;
};

template <typename Operation>
Stalled untilStalled(Operation operation)
{
    Stalled stalled;
    auto start = std::chrono::steady_clock::now();
    stalled.error = errorOf([&] {
        for (;;) {
            start = std::chrono::steady_clock::now();
            operation();
        }
    });
    stalled.lastCall = std::chrono::steady_clock::now() - start;
    return stalled;
}

// Keeps the three lines that a baud rate change prints out of the test's report.
class SilentOutput
{
public:
    SilentOutput() { m_previous = std::cout.rdbuf(m_text.rdbuf()); }
    ~SilentOutput() { std::cout.rdbuf(m_previous); }
    SilentOutput(const SilentOutput &) = delete;
    SilentOutput &operator=(const SilentOutput &) = delete;

private:
    std::ostringstream m_text;
    std::streambuf *m_previous = nullptr;
};

} // namespace

class TestImuStalledPort : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void writingEndsAtTheLimit();
    void writingContinuesWhenThePortAcceptsBytesAgain();
    void commandsUnderTheLockEndAndReleaseIt();
    void commandIsSentBeforeThePortIsClosed();
    void hardwareFlowControlIsNotDrained();
    void stalledBaudChangeEndsAndThePortIsUsableAgain();
    void vanishedPortEndsABaudChange();
    void closingDropsOutputThatCannotBeSent();
    void closingSendsPendingOutput();
    void errorOfClosingLeavesAClosedPort();
};

void TestImuStalledPort::init()
{
    const std::lock_guard lock(g_lock);
    g_calls.clear();
    g_queueSizes.clear();
    g_closeFails = false;
}

void TestImuStalledPort::writingEndsAtTheLimit()
{
    constexpr auto kLimit = 50ms;
    PtyPort port;
    boost::asio::io_context context;
    SerialPort link(context, kLimit);
    link.open(port.path(), kOldBaud);
    const QByteArray block(4096, 'x');

    const Stalled some = untilStalled([&] { link.writeSome(view(block)); });
    QCOMPARE(some.error, kTimedOut);
    QVERIFY(some.lastCall >= kLimit);
    const Stalled all = untilStalled([&] { link.writeAll(view(block)); });
    QCOMPARE(all.error, kTimedOut);
    QVERIFY(all.lastCall >= kLimit);

    // After the other end has read, writing continues.
    while (!port.readAvailable().isEmpty()) {
    }
    QCOMPARE(link.writeSome(view("y")), std::size_t(1));
}

void TestImuStalledPort::writingContinuesWhenThePortAcceptsBytesAgain()
{
    PtyPort port;
    boost::asio::io_context context;
    SerialPort link(context, 60s);
    link.open(port.path(), kOldBaud);
    // Larger than the buffer of any pseudo-terminal
    const QByteArray block(1 << 18, 'x');
    auto written = std::async(std::launch::async, [&] { return link.writeAll(view(block)); });
    QCOMPARE(port.read(block.size(), 60s), block);
    QCOMPARE(written.get(), std::size_t(block.size()));
}

// Both commands run at the same time, so the driver's limit of five seconds passes only once.
void TestImuStalledPort::commandsUnderTheLockEndAndReleaseIt()
{
    const auto stallIn = [](auto command) {
        PtyPort port;
        Driver driver;
        driver.connect(port);
        const Stalled stalled = untilStalled([&] { command(driver.imu); });
        // getQuaternion() and disconnect() take the lock.
        driver.imu.getQuaternion();
        driver.imu.disconnect();
        PtyPort other;
        return stalled.error == kTimedOut && stalled.lastCall >= kDriversLimit &&
               driver.worksOn(other);
    };
    auto dataRate =
        std::async(std::launch::async, stallIn, [](imu &driver) { driver.setDataRate_(100); });
    auto baudRate =
        std::async(std::launch::async, stallIn, [](imu &driver) { driver.setBaudRate_(kNewBaud); });
    QVERIFY(dataRate.get());
    QVERIFY(baudRate.get());
}

void TestImuStalledPort::commandIsSentBeforeThePortIsClosed()
{
    PtyPort port;
    Driver driver;
    driver.connect(port);
    g_queueSizes = {12, 5, 0};
    driver.imu.setSleeper([](std::chrono::milliseconds) { throw 0; }); // the first sleep is enough
    const SilentOutput output;
    QVERIFY_EXCEPTION_THROWN(driver.imu.setBaudRate(kNewBaud), int);
    const QByteArrayList order{"queue 12", "queue 5", "queue 0", "drain at 115200"};
    QCOMPARE(g_calls.first(4), order);
    QCOMPARE(g_calls.last(), "release");
    QCOMPARE(port.speed(), unsigned(kNewBaud));
}

void TestImuStalledPort::hardwareFlowControlIsNotDrained()
{
    PtyPort port;
    termios line{};
    ::tcgetattr(port.masterFd(), &line);
    line.c_cflag |= CRTSCTS;
    ::tcsetattr(port.masterFd(), TCSANOW, &line);
    boost::asio::io_context context;
    SerialPort link(context);
    link.open(port.path(), kOldBaud);
    g_queueSizes = {5, 0};
    link.awaitSent();
    QCOMPARE(g_calls, (QByteArrayList{"queue 5", "queue 0"}));
}

void TestImuStalledPort::stalledBaudChangeEndsAndThePortIsUsableAgain()
{
    PtyPort port;
    Driver driver;
    driver.connect(port);
    g_queueSizes = {12};
    const SilentOutput output;
    QCOMPARE(errorOf([&] { driver.imu.setBaudRate(kNewBaud); }), kTimedOut);
    QCOMPARE(port.speed(), unsigned(kOldBaud));
    QVERIFY(driver.isConnected());
    QVERIFY(driver.imu.disconnect());
    QVERIFY(!driver.isConnected());
    g_queueSizes = {};
    PtyPort other;
    QVERIFY(driver.worksOn(other));
}

// The device is unplugged between the command and the reopening at the new baud rate.
void TestImuStalledPort::vanishedPortEndsABaudChange()
{
    PtyPort port;
    Driver driver;
    driver.connect(port);
    driver.imu.setSleeper([&port](std::chrono::milliseconds) { port.hangUp(); });
    const SilentOutput output;
    const QByteArray error = errorOf([&] { driver.imu.setBaudRate(kNewBaud); });
    QVERIFY2(error.startsWith("open: "), error.constData());
    QVERIFY(!driver.isConnected());
    QVERIFY(driver.imu.disconnect());
    PtyPort other;
    QVERIFY(driver.worksOn(other));
}

void TestImuStalledPort::closingDropsOutputThatCannotBeSent()
{
    PtyPort port;
    Driver driver;
    driver.connect(port);
    QVERIFY(driver.imu.setBaudRate_(kNewBaud));
    g_queueSizes = {12};
    QVERIFY(driver.imu.disconnect());
    QCOMPARE(g_calls.last(2), (QByteArrayList{"drop", "release"}));
}

void TestImuStalledPort::closingSendsPendingOutput()
{
    PtyPort port;
    Driver driver;
    driver.connect(port);
    QVERIFY(driver.imu.setBaudRate_(kNewBaud));
    g_queueSizes = {12, 3, 0};
    QVERIFY(driver.imu.disconnect());
    QCOMPARE(g_calls, (QByteArrayList{"queue 12", "queue 3", "queue 0", "release"}));
    QCOMPARE(port.read(12), kSetNewBaud);
}

void TestImuStalledPort::errorOfClosingLeavesAClosedPort()
{
    PtyPort port;
    Driver driver;
    driver.connect(port);
    g_closeFails = true;
    QCOMPARE(errorOf([&] { driver.imu.disconnect(); }), "close: Input/output error");
    QVERIFY(!driver.isConnected());
    QVERIFY(driver.imu.disconnect());
    QVERIFY(driver.worksOn(port));
}

VORNIX_TEST_MAIN(TestImuStalledPort, QCoreApplication)
#include "test_imu_stalled_port.moc"
