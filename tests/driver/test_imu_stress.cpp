#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/system/system_error.hpp>

#include <QElapsedTimer>
#include <QTest>

#include "driver/imu.h"
#include "tests/fixtures/bytes.h"
#include "tests/fixtures/scripted_device.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using bytes::code;
using bytes::floats;
using bytes::packet;
using namespace std::chrono_literals;

namespace {

constexpr auto kDuration = 2500ms; // minimum

// All fields of a sample have the same value, so a half-copied block is detected.
QByteArray sample(float n)
{
    return packet('D', code(0) + floats({n, n, n}) + code(1) + floats({n, n, n}) + code(2) +
                           floats({n, n, n, n}) + code(5) + floats({n, n, n}) + code(6) +
                           floats({n, n, n}) + code(14) + floats({n, n, n}) + code(3) +
                           floats({n}));
}

QByteArray answer(const QByteArray &command)
{
    switch (command[4]) {
    case 10:
    case 11:
    case 18:
    case 19:
        return packet('G', command.mid(4, 1) + code(1));
    case 12:
        return packet('G', code(7) + bytes::u32(921600) + code(8) + bytes::u16(1000) + code(9) +
                               bytes::u16(0x167) + code(16) + bytes::u32(1) + code(17) +
                               bytes::u32(2));
    case 13:
        return packet('G', command[5] == 15 ? command.mid(5, 49)
                                            : command.mid(5, command[5] == 23 ? 5 : 3));
    case 20:
        return packet('G', code(20) + QByteArray(96, '\x18'));
    case 21:
        return packet('G', code(21) + bytes::u32(300));
    default:
        return {};
    }
}

bool isWhole(const std::vector<float> &block, std::size_t size)
{
    return block.empty() || (block.size() == size && block == std::vector<float>(size, block[0]));
}

} // namespace

// Calls every public operation from several threads at once, while the device streams 1000 samples
// per second and other threads connect and disconnect. No sample may be torn, nothing may hang, and
// the driver must work afterwards. Sanitizer builds of this test detect data races and memory
// errors.
class TestImuStress : public QObject
{
    Q_OBJECT

private slots:
    void concurrentCallsKeepSamplesIntact();

private:
    void poll(const std::stop_token &stop);
    void reconnect(const std::stop_token &stop);
    void command(const std::stop_token &stop);

    PtyPort m_port;
    boost::shared_ptr<imu> m_driver;
    std::atomic<int> m_updates{0};
    std::atomic<int> m_samples{0};
    std::atomic<int> m_torn{0};
    std::atomic<int> m_commands{0};
    std::atomic<int> m_connections{0};
};

void TestImuStress::poll(const std::stop_token &stop)
{
    while (!stop.stop_requested()) {
        const std::vector<float> quaternion = m_driver->getQuaternion();
        m_samples += quaternion.empty() ? 0 : 1;
        const bool whole = isWhole(quaternion, 4) && isWhole(m_driver->getRates(), 3) &&
                           isWhole(m_driver->getAccelerations(), 3) &&
                           isWhole(m_driver->getEuler(), 3) &&
                           isWhole(m_driver->getMagneticField(), 3);
        m_torn += whole ? 0 : 1;
        m_driver->getAltitude();
        m_driver->getFirmwareVersion();
        m_driver->isSyncEnabled();
    }
}

void TestImuStress::reconnect(const std::stop_token &stop)
{
    while (!stop.stop_requested()) {
        m_driver->connect(m_port.path(), m_connections % 2 == 0 ? 921600 : 115200, 8, 0, 1);
        ++m_connections;
        std::this_thread::sleep_for(20ms);
        m_driver->disconnect();
    }
}

// One attempt each: repeating operations would wait for a connection without limit.
void TestImuStress::command(const std::stop_token &stop)
{
    std::array<float, 3> bias{1, 2, 3};
    std::array<float, 9> matrix{1, 0, 0, 0, 1, 0, 0, 0, 1};
    while (!stop.stop_requested()) {
        try {
            m_driver->setDataRate_(1000);
            m_driver->setOutputs_(0x167);
            m_driver->setZeroThreshold_(0.02F);
            m_driver->saveSettings_();
            m_driver->revertToFactorySettings_();
            m_driver->loadSettings_();
            m_driver->resetSettingsFlags();
            m_driver->setMagneticFieldCalibrationData_(bias.data(), matrix.data());
            m_driver->getCalibrationDataSize();
            m_driver->getCalibrationData(0, 300);
            m_driver->getOutputs();
            m_driver->setBaudRate_(921600);
        } catch (const boost::system::system_error &error) {
            // another thread disconnected between the check and the write
            if (error.code() != boost::system::errc::bad_file_descriptor)
                throw;
        }
        ++m_commands;
    }
}

void TestImuStress::concurrentCallsKeepSamplesIntact()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->setSleeper(
        [](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration / 10); });
    m_driver->start();

    float next = 0;
    ScriptedDevice device(m_port, answer, [&next] { return sample(next += 1); });
    QObject::connect(
        m_driver.get(), &imu::quaternionUpdated, this, [this] { ++m_updates; },
        Qt::DirectConnection);
    {
        std::vector<std::jthread> threads;
        threads.emplace_back([this](const std::stop_token &stop) { poll(stop); });
        threads.emplace_back([this](const std::stop_token &stop) { reconnect(stop); });
        for (int i = 0; i < 2; ++i)
            threads.emplace_back([this](const std::stop_token &stop) { command(stop); });
        QTest::qWait(static_cast<int>(kDuration.count()));
        QTRY_VERIFY(m_connections > 3 && m_commands > 3 && m_samples > 10);
        for (std::jthread &thread : threads)
            thread.request_stop();
    }
    qInfo("%d connections, %d rounds of commands, %d samples taken of %d decoded",
          m_connections.load(), m_commands.load(), m_samples.load(), m_updates.load());
    QCOMPARE(m_torn.load(), 0);

    QVERIFY(m_driver->connect(m_port.path(), 921600, 8, 0, 1));
    QVERIFY(m_driver->loadSettings());
    QCOMPARE(m_driver->getDataRate(), 1000);
    const int before = m_updates;
    QTRY_VERIFY(m_updates > before + 10);
}

VORNIX_TEST_MAIN(TestImuStress, QCoreApplication)
#include "test_imu_stress.moc"
