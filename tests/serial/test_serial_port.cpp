// Ownership and settings of the file descriptor behind the driver's port.

#include <cerrno>
#include <cstring>
#include <functional>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <boost/system/system_error.hpp>

#include <QDir>

#include "driver/imu.h"
#include "tests/fixtures/pty_port.h"
#include "tests/fixtures/test_main.h"

namespace {

constexpr int kNobodysId = 65534;
const QByteArray kBusy = "open: Device or resource busy";

// The descriptors of this process that refer to the device path.
QList<int> descriptorsOf(const std::string &path)
{
    QList<int> found;
    const QDir all(QStringLiteral("/proc/self/fd"));
    for (const QString &name : all.entryList(QDir::System | QDir::AllEntries)) {
        const QByteArray entry = all.filePath(name).toLocal8Bit();
        char target[256]{};
        if (::readlink(entry.constData(), target, sizeof target - 1) > 0 && path == target)
            found.append(name.toInt());
    }
    return found;
}

// Runs `question` in another process without root rights and returns its result. Root may open an
// exclusive port, so a test that runs as root needs another user for it.
int askAsAnotherUser(const std::function<int()> &question)
{
    const pid_t child = ::fork();
    if (child == 0) {
        // The system call, because setuid() of the C library synchronises with the other threads of
        // the process.
        if (::geteuid() == 0 &&
            (::syscall(SYS_setgroups, 0, nullptr) != 0 || ::syscall(SYS_setgid, kNobodysId) != 0 ||
             ::syscall(SYS_setuid, kNobodysId) != 0))
            ::_exit(255);
        ::_exit(question());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

// 0, or the errno of opening the path.
int openingFails(const std::string &path)
{
    return askAsAnotherUser([&path] {
        const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        return fd >= 0 ? 0 : errno;
    });
}

QByteArray connectError(imu &driver, const std::string &path, int baud)
{
    try {
        driver.connect(path, baud, 8, 0, 1);
    } catch (const boost::system::system_error &error) {
        return error.what();
    }
    return {};
}

// A port that any user may open.
class PublicPort : public PtyPort
{
public:
    PublicPort()
    {
        // Needed only for root: without root rights both processes belong to the owner of the port.
        ::chmod(path().c_str(), 0666);
    }

    termios line() const
    {
        termios settings{};
        ::tcgetattr(masterFd(), &settings);
        return settings;
    }
};

} // namespace

// No driver in this test has a reader thread, so the process can fork at any time.
class TestSerialPort : public QObject
{
    Q_OBJECT

private slots:
    void isNotInherited();
    void isExclusiveWhileConnected();
    void isFreeAfterAFailedConnect();
    void secondProgramIsRefusedAsBusy();
    void isClosedOnceByDisconnect();
    void stopBitsAndFlowControlAreKept_data();
    void stopBitsAndFlowControlAreKept();
    void onlyTerminalsAreOpened();
};

void TestSerialPort::isNotInherited()
{
    PublicPort port;
    imu driver(nullptr);
    driver.connect(port.path(), 115200, 8, 0, 1);
    const QList<int> descriptors = descriptorsOf(port.path());
    QCOMPARE(descriptors.size(), 1);
    QCOMPARE(::fcntl(descriptors[0], F_GETFD), FD_CLOEXEC);
    QCOMPARE(::fcntl(descriptors[0], F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR | O_NONBLOCK);
}

void TestSerialPort::isExclusiveWhileConnected()
{
    PublicPort port;
    imu driver(nullptr);
    QCOMPARE(openingFails(port.path()), 0);
    for (int round = 0; round < 2; ++round) {
        driver.connect(port.path(), 115200, 8, 0, 1);
        QCOMPARE(openingFails(port.path()), EBUSY);
        driver.disconnect();
        QCOMPARE(openingFails(port.path()), 0);
    }
}

void TestSerialPort::isFreeAfterAFailedConnect()
{
    PublicPort port;
    imu driver(nullptr);
    QCOMPARE(connectError(driver, port.path(), 12345), "set_option: Invalid argument");
    QVERIFY(descriptorsOf(port.path()).isEmpty());
    QCOMPARE(openingFails(port.path()), 0);
}

void TestSerialPort::secondProgramIsRefusedAsBusy()
{
    PublicPort port;
    imu first(nullptr);
    first.connect(port.path(), 115200, 8, 0, 1);
    const int refused = askAsAnotherUser([&port] {
        imu second(nullptr);
        return connectError(second, port.path(), 921600) == kBusy ? 0 : 1;
    });
    QCOMPARE(refused, 0);
    QCOMPARE(port.speed(), 115200U);
}

void TestSerialPort::isClosedOnceByDisconnect()
{
    PublicPort port;
    imu driver(nullptr);
    driver.connect(port.path(), 115200, 8, 0, 1);
    driver.disconnect();
    QVERIFY(descriptorsOf(port.path()).isEmpty());
    driver.disconnect();
    driver.connect(port.path(), 115200, 8, 0, 1);
    QCOMPARE(descriptorsOf(port.path()).size(), 1);
}

void TestSerialPort::stopBitsAndFlowControlAreKept_data()
{
    QTest::addColumn<unsigned int>("flags");
    QTest::newRow("neither") << 0U;
    QTest::newRow("two stop bits") << unsigned(CSTOPB);
    QTest::newRow("hardware flow control") << unsigned(CRTSCTS);
    QTest::newRow("both") << unsigned(CSTOPB | CRTSCTS);
}

void TestSerialPort::stopBitsAndFlowControlAreKept()
{
    QFETCH(unsigned int, flags);

    PublicPort port;
    termios before = port.line();
    before.c_cflag = (before.c_cflag & ~unsigned(CSTOPB | CRTSCTS | CLOCAL)) | flags;
    before.c_iflag |= IXON | ICRNL;
    before.c_lflag |= ICANON | ECHO;
    ::tcsetattr(port.masterFd(), TCSANOW, &before);
    QVERIFY(!port.isRaw());

    imu driver(nullptr);
    driver.connect(port.path(), 115200, 8, 0, 1);
    QVERIFY(port.isRaw());
    QCOMPARE(port.line().c_cflag & (CSTOPB | CRTSCTS), flags);
}

void TestSerialPort::onlyTerminalsAreOpened()
{
    imu driver(nullptr);
    QCOMPARE(connectError(driver, "/dev/null", 115200), "open: Inappropriate ioctl for device");
    QVERIFY(!driver.setSyncEnabled(true));
    QVERIFY(descriptorsOf("/dev/null").size() <= 3); // the descriptors open at program start
}

VORNIX_TEST_MAIN(TestSerialPort, QCoreApplication)
#include "test_serial_port.moc"
