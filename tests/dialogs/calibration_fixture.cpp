#include "tests/dialogs/calibration_fixture.h"

#include <thread>

#include <boost/make_shared.hpp>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace dialog_test {

const QString kTooFew = u"Do not apply: fewer than 9 samples do not determine an ellipsoid."_s;

namespace {

sim::DeviceOptions options()
{
    sim::DeviceOptions options;
    options.motion = sim::Motion::Tumble;
    options.settings.baud = 921600;
    options.startUp = 0ms;
    return options;
}

} // namespace

MadeEllipsoid someEllipsoid()
{
    return {{40, 50, 60},
            Eigen::AngleAxisd(0.4, Eigen::Vector3d(1, 1, 1).normalized()).toRotationMatrix(),
            {12.5, -7.25, 3}};
}

void CalibrationFixture::startDriver()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->setSleeper([this](std::chrono::milliseconds duration) {
        std::this_thread::sleep_for(ignoresRequestsForBlocks() ? 1ms : duration);
    });
    m_driver->start();
}

void CalibrationFixture::openDialog()
{
    m_device = std::make_unique<sim::ImuSimulatorServer>(options());
    setMask(kMaskBefore);
    QVERIFY(m_driver->connect(m_device->path(), 921600, 8, 0, 1));
    QVERIFY(QTest::qWaitFor([this] { return !m_driver->getQuaternion().empty(); }, kWaitLimitMs));
    while (!m_driver->getMagneticFieldRaw().empty())
        continue;
    m_device->clearReceivedCommands();
    m_dialog = std::make_unique<MagnetoCalibrationDialog>(m_driver.get(), nullptr, kMaskBefore);
    m_dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_dialog.get(), kWaitLimitMs));
}

void CalibrationFixture::closeDialog()
{
    m_dialog.reset();
    m_driver->disconnect();
    m_device.reset();
}

// True while the device ignores requests for a block and has ignored some: waiting for an answer is
// then useless.
bool CalibrationFixture::ignoresRequestsForBlocks() const
{
    return m_device && m_device->change([](sim::ImuSimulator &device) {
        const auto &left = device.faults().ignoreFirst;
        return left.count(20) != 0 && left.at(20) > 0 && left.at(20) < kBlockAttempts;
    });
}

QStringList CalibrationFixture::log()
{
    const QString text = find<QPlainTextEdit>(u"plainTextEdit"_s)->toPlainText();
    return text.split(u'\n', Qt::SkipEmptyParts);
}

void CalibrationFixture::feed(const ellipsoid::Reading &reading)
{
    Packet packet{'S', 'D', 19, 0, 14};
    packet.resize(19);
    protocol::writeField(&packet[5], reading);
    protocol::writeField(&packet[17], protocol::checksum({&packet[4], 13}));
    packet.resize(packet.size() + kDecoderPadding);
    QVERIFY(m_driver->processPacket(packet.data(), 19));
}

void CalibrationFixture::setMask(unsigned short mask)
{
    m_device->change([mask](sim::ImuSimulator &device) {
        sim::DeviceSettings settings = device.memory().active;
        settings.outputs = mask;
        device.setSettings(settings);
    });
}

void CalibrationFixture::store(std::vector<unsigned char> bytes)
{
    m_device->change(
        [&](sim::ImuSimulator &d) { d.calibrationStore().setBytes(std::move(bytes)); });
}

void CalibrationFixture::storePoints(const ellipsoid::Readings &points)
{
    m_device->change([&](sim::ImuSimulator &d) { d.calibrationStore().setPoints(points); });
}

std::vector<Packet> CalibrationFixture::commands(unsigned char code, std::size_t at)
{
    std::vector<Packet> found;
    for (const Packet &packet : m_device->receivedCommands()) {
        const bool repeated = !found.empty() && found.back() == packet;
        if (packet.size() > at && packet[at] == code && !repeated)
            found.push_back(packet);
    }
    return found;
}

} // namespace dialog_test
