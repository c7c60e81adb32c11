#pragma once

#include <memory>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include "dialogs/magneto_calibration_dialog.h"
#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fit/made_ellipsoid.h"
#include "tests/fixtures/wait_limit.h"
#include "views/magneto_gl_widget.h"

namespace dialog_test {

using Packet = std::vector<unsigned char>;

constexpr unsigned short kMaskBefore = 0x0044; // quaternion and calibrated field
constexpr unsigned short kMaskWhileOpen = 0x0144;

constexpr int kBlockAttempts = 102; // of the driver to read one block of stored points

// The log line about a fit of too few samples.
extern const QString kTooFew;

MadeEllipsoid someEllipsoid();

// The calibration dialog of a driver that is connected to a simulated device. The driver is the one
// of the test program; every test gets a new device and a new dialog.
class CalibrationFixture
{
protected:
    // To be called by initTestCase(), init() and cleanup().
    void startDriver();
    void openDialog();
    void closeDialog();

    template <typename Widget>
    Widget *find(const QString &name)
    {
        return m_dialog->findChild<Widget *>(name);
    }
    double figure(const QString &edit) { return find<QLineEdit>(edit)->text().toDouble(); }
    QStringList log();
    MagnetoGLWidget *view() { return find<MagnetoGLWidget>(QStringLiteral("openGLSphere")); }
    QTimer *timer() { return m_dialog->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly); }
    QPushButton *save() { return find<QPushButton>(QStringLiteral("push_save_device")); }
    void click(const QString &button)
    {
        QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton);
    }

    // Injects a reading as if the device had sent it; with kMaskBefore the device sends none
    // itself.
    void feed(const ellipsoid::Reading &reading);
    void setMask(unsigned short mask);
    sim::DeviceSettings working()
    {
        return m_device->inspect([](const sim::ImuSimulator &d) { return d.memory().active; });
    }
    // Replaces the calibration data that the device has stored.
    void store(std::vector<unsigned char> bytes);
    void storePoints(const ellipsoid::Readings &points);
    // The received commands that have this code at this byte offset, in order. A command that
    // repeats the one before it is left out: how often a waiting driver repeats a command depends
    // on the machine's speed.
    std::vector<Packet> commands(unsigned char code, std::size_t at = 4);

    boost::shared_ptr<imu> m_driver;
    std::unique_ptr<sim::ImuSimulatorServer> m_device;
    std::unique_ptr<MagnetoCalibrationDialog> m_dialog;

private:
    bool ignoresRequestsForBlocks() const;
};

} // namespace dialog_test
