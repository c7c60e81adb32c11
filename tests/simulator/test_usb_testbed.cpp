// The system's port list contains the adapters of a testbed, and their ports open.

#include "driver/ImuDriver.h"
#include "sim/UsbTestbed.h"
#include "tests/simulator/host.h"
#include "tests/support/test_main.h"

#include <sys/ioctl.h>
#include <sys/resource.h>

#include <boost/make_shared.hpp>

#include <QCoreApplication>
#include <QSerialPortInfo>

using namespace Qt::StringLiterals;

class TestUsbTestbed : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void isListedAndOpens();
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
    return QTest::qWaitFor([this] { return !m_driver->getQuaternion().empty(); }, kPatienceMs);
}

void TestUsbTestbed::initTestCase()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->start();
}

void TestUsbTestbed::isListedAndOpens()
{
    sim::UsbTestbed testbed;
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

// At full rate the host has about ten microseconds per byte, too little to ask another thread for
// it. A wait for that thread would show as a context switch.
void TestUsbTestbed::readsWithoutWaitingForTheTestbed()
{
    constexpr int kBytes = 1000;
    sim::UsbTestbed testbed;
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
