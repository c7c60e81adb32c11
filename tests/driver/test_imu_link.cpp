#include <cmath>
#include <thread>

#include <boost/make_shared.hpp>
#include <boost/system/system_error.hpp>

#include <QDeadlineTimer>

#include "driver/imu.h"
#include "tests/fixtures/bytes.h"
#include "tests/fixtures/pty_port.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using bytes::hex;

namespace {

const QByteArray kQuaternion = bytes::quaternionPacket(0, 0, 0, 1);
const QByteArray kAltitude = hex("53 44 0B 00 03 00 00 80 3F C2 00"); // 1.0F

// setSyncEnabled() returns whether the driver is connected and has no other effect.
bool isConnected(imu &driver)
{
    return driver.setSyncEnabled(true);
}

// Returns the text of the port error, empty if the operation succeeds.
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

// Waits for a new altitude; infinity if none arrives. QTRY_COMPARE does not fit: it calls the
// getter once more after the sample was returned. Polls without a pause, as the panel does.
float nextAltitude(imu &driver)
{
    const QDeadlineTimer deadline(PtyPort::kDeadline);
    float altitude = driver.getAltitude();
    while (std::isinf(altitude) && !deadline.hasExpired())
        altitude = driver.getAltitude();
    return altitude;
}

} // namespace

// Opening, closing and losing the port, and the bytes that pass through it.
class TestImuLink : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void missingPortThrowsOpen();
    void unsupportedBaudRateThrowsSetOption_data();
    void unsupportedBaudRateThrowsSetOption();
    void everyBaudRateReachesTheLine_data();
    void everyBaudRateReachesTheLine();
    void theLineIsRaw();
    void secondConnectKeepsPortAndBaudRate();
    void disconnectIsAlwaysTrue();
    void samplesArriveAfterEachConnect();
    void bytesFromBeforeTheConnectionAreDropped();
    void unplugInMidPacket_data();
    void unplugInMidPacket();
    void disconnectInMidPacket();
    void writingToALostDeviceThrowsWriteSome();
    void readNBytes();
    void readNBytesOfALostDeviceThrowsReadSome();
    void waitForNBytes();
    void everyQuaternionIsCounted();

private:
    void expectAltitude(PtyPort &port);
    void expectReadToTheEnd(PtyPort &port, const QByteArray &piece);

    boost::shared_ptr<imu> m_driver;
};

void TestImuLink::initTestCase()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->start();
}

void TestImuLink::cleanup()
{
    m_driver->disconnect();
}

// The driver decodes a packet from the device's end of this port.
void TestImuLink::expectAltitude(PtyPort &port)
{
    m_driver->getAltitude();
    QVERIFY(port.write(kAltitude));
    QCOMPARE(nextAltitude(*m_driver), 1.0F);
}

// One write reaches the host's queue as a whole, but at a later moment. So after the driver has
// decoded the altitude in front, an empty queue means that it has read `piece` too.
void TestImuLink::expectReadToTheEnd(PtyPort &port, const QByteArray &piece)
{
    QVERIFY(port.write(kAltitude + piece));
    QCOMPARE(nextAltitude(*m_driver), 1.0F);
    QTRY_COMPARE(port.unreadByHost(), 0);
}

void TestImuLink::missingPortThrowsOpen()
{
    const QByteArray error =
        errorOf([this] { m_driver->connect("/dev/no-such-port", 115200, 8, 0, 1); });
    QCOMPARE(error, "open: No such file or directory");
    QVERIFY(!isConnected(*m_driver));

    PtyPort port;
    QVERIFY(m_driver->connect(port.path(), 115200, 8, 0, 1));
    expectAltitude(port);
}

void TestImuLink::unsupportedBaudRateThrowsSetOption_data()
{
    QTest::addColumn<int>("baud");
    for (const int baud : {12345, -1, 1, 9601, 1500000, 2500000, 5000000})
        QTest::addRow("%d", baud) << baud;
}

void TestImuLink::unsupportedBaudRateThrowsSetOption()
{
    QFETCH(int, baud);

    PtyPort port;
    QCOMPARE(errorOf([&] { m_driver->connect(port.path(), baud, 8, 0, 1); }),
             "set_option: Invalid argument");
    QVERIFY(!isConnected(*m_driver));
    QVERIFY(m_driver->connect(port.path(), 230400, 8, 0, 1));
    QCOMPARE(port.speed(), 230400U);
    expectAltitude(port);
}

void TestImuLink::everyBaudRateReachesTheLine_data()
{
    QTest::addColumn<int>("baud");
    for (const int baud :
         {0,      50,     75,     110,     134,     150,     200,     300,     600,    1200,
          1800,   2400,   4800,   9600,    19200,   38400,   57600,   115200,  230400, 460800,
          500000, 576000, 921600, 1000000, 1152000, 2000000, 3000000, 3500000, 4000000})
        QTest::addRow("%d", baud) << baud;
}

void TestImuLink::everyBaudRateReachesTheLine()
{
    QFETCH(int, baud);

    PtyPort port;
    QVERIFY(m_driver->connect(port.path(), baud, 8, 0, 1));
    QCOMPARE(port.speed(), static_cast<unsigned int>(baud));
}

// The last three arguments of connect() have no effect.
void TestImuLink::theLineIsRaw()
{
    PtyPort port;
    QVERIFY(m_driver->connect(port.path(), 115200, 7, 2, 2));
    QVERIFY(port.isRaw());
    // Every byte value passes in both directions: no flow control, no line editing.
    QByteArray all;
    for (int value = 0; value < 256; ++value)
        all.append(static_cast<char>(value)); // first 36 skipped, the others unknown codes
    port.write(bytes::packet('D', bytes::code(22) + all + bytes::code(3) + bytes::floats({2})));
    QCOMPARE(nextAltitude(*m_driver), 2.0F);
    m_driver->setBaudRate_(0x0D0A1113);
    QCOMPARE(port.read(12), hex("53 43 0C 00 0D 07 13 11 0A 0D 4F 00"));
}

void TestImuLink::secondConnectKeepsPortAndBaudRate()
{
    PtyPort first;
    PtyPort second;
    QVERIFY(m_driver->connect(first.path(), 460800, 8, 0, 1));
    const unsigned int untouched = second.speed();
    QVERIFY(m_driver->connect(second.path(), 57600, 8, 0, 1));
    QVERIFY(m_driver->connect("/dev/no-such-port", 12345, 8, 0, 1));
    QCOMPARE(first.speed(), 460800U);
    QCOMPARE(second.speed(), untouched);
    expectAltitude(first);
}

void TestImuLink::disconnectIsAlwaysTrue()
{
    QVERIFY(m_driver->disconnect());
    PtyPort port;
    QVERIFY(m_driver->connect(port.path(), 115200, 8, 0, 1));
    QVERIFY(isConnected(*m_driver));
    QVERIFY(m_driver->disconnect());
    QVERIFY(!isConnected(*m_driver));
    QVERIFY(m_driver->disconnect());
}

void TestImuLink::samplesArriveAfterEachConnect()
{
    PtyPort port;
    for (int round = 0; round < 50; ++round) {
        QVERIFY(m_driver->connect(port.path(), round % 2 == 0 ? 115200 : 921600, 8, 0, 1));
        expectAltitude(port);
        QVERIFY(m_driver->disconnect());
    }
}

// A pseudo-terminal keeps bytes that were sent while no host had it open, and a real line can carry
// bytes of the previous baud rate. The driver must not decode either as new data.
void TestImuLink::bytesFromBeforeTheConnectionAreDropped()
{
    PtyPort port;
    QVERIFY(m_driver->connect(port.path(), 115200, 8, 0, 1));
    QVERIFY(m_driver->disconnect());
    QVERIFY(port.write(kQuaternion));
    QTRY_COMPARE(port.unreadByHost(), static_cast<int>(kQuaternion.size()));
    QVERIFY(m_driver->connect(port.path(), 921600, 8, 0, 1));
    expectAltitude(port);
    QVERIFY(m_driver->getQuaternion().empty());
}

void TestImuLink::unplugInMidPacket_data()
{
    QTest::addColumn<qsizetype>("cut");
    for (qsizetype cut = 0; cut < kAltitude.size(); ++cut)
        QTest::addRow("after %d bytes", static_cast<int>(cut)) << cut;
}

void TestImuLink::unplugInMidPacket()
{
    QFETCH(qsizetype, cut);

    {
        PtyPort lost;
        QVERIFY(m_driver->connect(lost.path(), 115200, 8, 0, 1));
        expectReadToTheEnd(lost, kAltitude.first(cut));
    }
    // The driver does not detect the unplugging.
    QVERIFY(isConnected(*m_driver));
    QVERIFY(m_driver->disconnect());

    PtyPort found;
    QVERIFY(m_driver->connect(found.path(), 115200, 8, 0, 1));
    expectAltitude(found);
}

// The disconnect comes while the reader waits after the piece or is still decoding it.
void TestImuLink::disconnectInMidPacket()
{
    PtyPort port;
    const QByteArray longPiece = hex("53 44 00 10") + QByteArray(300, 'x');
    for (int round = 0; round < 100; ++round) {
        QVERIFY(m_driver->connect(port.path(), 115200, 8, 0, 1));
        QVERIFY(port.write(kAltitude + longPiece.first(1 + 3 * round)));
        QCOMPARE(nextAltitude(*m_driver), 1.0F);
        QVERIFY(m_driver->disconnect());
        QVERIFY(m_driver->connect(port.path(), 115200, 8, 0, 1));
        expectAltitude(port);
        QVERIFY(m_driver->disconnect());
    }
}

void TestImuLink::writingToALostDeviceThrowsWriteSome()
{
    PtyPort port;
    QVERIFY(m_driver->connect(port.path(), 115200, 8, 0, 1));
    port.hangUp();
    float nine[9]{};
    const QByteArray lost = "write_some: Input/output error";
    QCOMPARE(errorOf([&] { m_driver->setBaudRate_(115200); }), lost);
    QCOMPARE(errorOf([&] { m_driver->setDataRate(100); }), lost);
    QCOMPARE(errorOf([&] { m_driver->setOutputs(1); }), lost);
    QCOMPARE(errorOf([&] { m_driver->setZeroThreshold(0); }), lost);
    QCOMPARE(errorOf([&] { m_driver->saveSettings(); }), lost);
    QCOMPARE(errorOf([&] { m_driver->revertToFactorySettings(); }), lost);
    QCOMPARE(errorOf([&] { m_driver->loadSettings(); }), lost);
    QCOMPARE(errorOf([&] { m_driver->startCalibration(); }), lost);
    QCOMPARE(errorOf([&] { m_driver->stopCalibration(); }), lost);
    QCOMPARE(errorOf([&] { m_driver->getCalibrationDataSize(); }), lost);
    QCOMPARE(errorOf([&] { m_driver->getCalibrationData(0, 1); }), lost);
    QCOMPARE(errorOf([&] { m_driver->setMagneticFieldCalibrationData(nine, nine); }), lost);
    QVERIFY(isConnected(*m_driver));

    QVERIFY(m_driver->disconnect());
    PtyPort again;
    QVERIFY(m_driver->connect(again.path(), 115200, 8, 0, 1));
    expectAltitude(again);
}

// The next two tests read the port themselves, so their driver has no reader thread.

void TestImuLink::readNBytes()
{
    imu driver(nullptr);
    unsigned char buffer[8] = {};
    QCOMPARE(driver.readNBytes(8, buffer), 0);

    PtyPort port;
    QVERIFY(driver.connect(port.path(), 115200, 8, 0, 1));
    QCOMPARE(driver.readNBytes(0, buffer), 0);
    QVERIFY(port.write("abc"));
    QCOMPARE(driver.readNBytes(2, buffer), 2);
    QCOMPARE(driver.readNBytes(8, buffer + 2), 1);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(buffer)), "abc");

    // readNBytes() waits for the first byte.
    std::jthread device([&port] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        port.write("d");
    });
    QCOMPARE(driver.readNBytes(8, buffer), 1);
    QCOMPARE(buffer[0], static_cast<unsigned char>('d'));
}

void TestImuLink::readNBytesOfALostDeviceThrowsReadSome()
{
    imu driver(nullptr);
    PtyPort port;
    QVERIFY(driver.connect(port.path(), 115200, 8, 0, 1));
    port.hangUp();
    unsigned char byte = 0;
    const QByteArray error = errorOf([&] { driver.readNBytes(1, &byte); });
    QVERIFY2(error.startsWith("read_some: "), error.constData());
    QVERIFY(driver.disconnect());
}

void TestImuLink::waitForNBytes()
{
    imu driver(nullptr);
    driver.waitForNBytes(1); // returns at once if the port is closed

    PtyPort port;
    QVERIFY(driver.connect(port.path(), 115200, 8, 0, 1));
    driver.waitForNBytes(0);
    QVERIFY(port.write("ab"));
    std::atomic<bool> sent{false};
    std::jthread device([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        sent = true;
        port.write("c");
    });
    driver.waitForNBytes(3);
    QVERIFY(sent);

    std::jthread closer([&driver] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        driver.disconnect();
    });
    driver.waitForNBytes(4);
    QVERIFY(!isConnected(driver));
}

// The driver counts samples when it decodes them, including those that are replaced before a getter
// returns them.
void TestImuLink::everyQuaternionIsCounted()
{
    PtyPort port;
    QVERIFY(m_driver->connect(port.path(), 115200, 8, 0, 1));
    const std::uint64_t before = m_driver->statistics().samples;
    QVERIFY(port.write(kQuaternion.repeated(100)));
    QTRY_COMPARE(m_driver->statistics().samples - before, std::uint64_t(100));
    QVERIFY(!m_driver->getQuaternion().empty());
    QVERIFY(m_driver->getQuaternion().empty());
}

VORNIX_TEST_MAIN(TestImuLink, QCoreApplication)
#include "test_imu_link.moc"
