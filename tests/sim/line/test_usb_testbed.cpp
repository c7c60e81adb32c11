// The system's port list contains the adapters of a testbed, and their ports open.

#include <sys/ioctl.h>
#include <sys/resource.h>

#include <boost/make_shared.hpp>

#include <QCoreApplication>
#include <QSerialPortInfo>

#include "driver/imu.h"
#include "tests/fixtures/device_testbed.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"
#include "tests/sim/host.h"

using namespace Qt::StringLiterals;

class TestUsbTestbed : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void isListedAndOpens();
    void returnsUnderAnotherName();
    void swapsTwoNames();
    void readsWithoutWaitingForTheTestbed();

private:
    // Returns true if a new quaternion has arrived; the getter returns each one once.
    bool streams();

    boost::shared_ptr<imu> m_driver;
};

namespace {

QStringList listedPorts()
{
    QStringList names;
    for (const QSerialPortInfo &port : QSerialPortInfo::availablePorts())
        names << port.portName();
    names.sort();
    return names;
}

int unread(const Host &host)
{
    int count = 0;
    ::ioctl(host.fd(), FIONREAD, &count);
    return count;
}

// Number of voluntary context switches of this thread, one for each wait.
long waits()
{
    rusage usage{};
    ::getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

} // namespace

bool TestUsbTestbed::streams()
{
    return QTest::qWaitFor([this] { return !m_driver->getQuaternion().empty(); }, kWaitLimitMs);
}

void TestUsbTestbed::initTestCase()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->start();
}

void TestUsbTestbed::isListedAndOpens()
{
    DeviceTestbed testbed;
    testbed.plug("ttyUSB0");
    sim::DeviceOptions second;
    second.settings.baud = 921600;
    testbed.plug("ttyACM3", second);
    QCOMPARE(listedPorts(), (QStringList{u"ttyACM3"_s, u"ttyUSB0"_s}));

    QVERIFY(m_driver->connect("/dev/ttyUSB0", 115200, 8, 0, 1));
    QVERIFY(streams());
    testbed.unplug("ttyUSB0");
    QCOMPARE(listedPorts(), QStringList{u"ttyACM3"_s});
    m_driver->disconnect();
    QVERIFY_EXCEPTION_THROWN(m_driver->connect("/dev/ttyUSB0", 115200, 8, 0, 1),
                             boost::system::system_error);
    m_driver->getQuaternion();
    testbed.replug("ttyUSB0");
    QCOMPARE(listedPorts(), (QStringList{u"ttyACM3"_s, u"ttyUSB0"_s}));
    QVERIFY(m_driver->connect("/dev/ttyUSB0", 115200, 8, 0, 1));
    QVERIFY(streams());
    m_driver->disconnect();

    QVERIFY(m_driver->connect("/dev/ttyACM3", 921600, 8, 0, 1));
    m_driver->getQuaternion();
    QVERIFY(streams());
    m_driver->disconnect();
}

void TestUsbTestbed::returnsUnderAnotherName()
{
    DeviceTestbed testbed;
    testbed.plug("ttyUSB0");
    QVERIFY(m_driver->connect("/dev/ttyUSB0", 115200, 8, 0, 1));
    QVERIFY(streams());
    // Still open: the adapter cannot get its name back.
    testbed.unplug("ttyUSB0");
    testbed.replugAs("ttyUSB0", "ttyUSB1");
    QCOMPARE(listedPorts(), QStringList{u"ttyUSB1"_s});
    m_driver->disconnect();
    QVERIFY_EXCEPTION_THROWN(m_driver->connect("/dev/ttyUSB0", 115200, 8, 0, 1),
                             boost::system::system_error);
    m_driver->getQuaternion();
    QVERIFY(m_driver->connect("/dev/ttyUSB1", 115200, 8, 0, 1));
    QVERIFY(streams());
    m_driver->disconnect();
    // And back.
    testbed.unplug("ttyUSB1");
    QCOMPARE(listedPorts(), QStringList());
    testbed.replugAs("ttyUSB1", "ttyUSB0");
    QCOMPARE(listedPorts(), QStringList{u"ttyUSB0"_s});
    QVERIFY(m_driver->connect("/dev/ttyUSB0", 115200, 8, 0, 1));
    QVERIFY(streams());
    m_driver->disconnect();
}

void TestUsbTestbed::swapsTwoNames()
{
    DeviceTestbed testbed;
    sim::DeviceOptions options;
    options.serialNumber = 1;
    testbed.plug("ttyUSB0", options);
    options.serialNumber = 2;
    testbed.plug("ttyUSB1", options);
    const auto serialAt = [this](const char *path) {
        m_driver->connect(path, 115200, 8, 0, 1);
        const unsigned int serial = m_driver->loadSettings() ? m_driver->getSerialNumber() : 0;
        m_driver->disconnect();
        return serial;
    };
    QCOMPARE(serialAt("/dev/ttyUSB0"), 1U);
    QCOMPARE(serialAt("/dev/ttyUSB1"), 2U);
    testbed.unplug("ttyUSB0");
    testbed.unplug("ttyUSB1");
    testbed.replugAs("ttyUSB0", "ttyUSB1");
    QCOMPARE(listedPorts(), QStringList{u"ttyUSB1"_s});
    testbed.replug("ttyUSB0");
    QCOMPARE(listedPorts(), (QStringList{u"ttyUSB0"_s, u"ttyUSB1"_s}));
    QCOMPARE(serialAt("/dev/ttyUSB0"), 2U);
    QCOMPARE(serialAt("/dev/ttyUSB1"), 1U);
}

// At full rate the host has about ten microseconds per byte, too little to ask another thread for
// it. A wait for that thread would show as a context switch.
void TestUsbTestbed::readsWithoutWaitingForTheTestbed()
{
    constexpr int kBytes = 1000;
    DeviceTestbed testbed;
    sim::DeviceOptions options;
    options.settings.baud = 921600;
    options.settings.rateHz = 1000;
    testbed.plug("ttyUSB0", options);
    Host host("/dev/ttyUSB0", B921600);
    QVERIFY(eventually([&] { return unread(host) > kBytes; }));

    const long before = waits();
    for (int i = 0; i < kBytes; ++i) {
        unsigned char byte = 0;
        QCOMPARE(::read(host.fd(), &byte, 1), ssize_t(1));
    }
    const long waited = waits() - before;
    QVERIFY2(waited < kBytes / 10, qPrintable(QString::number(waited)));
}

VORNIX_TEST_MAIN(TestUsbTestbed, QCoreApplication)
#include "test_usb_testbed.moc"
