// The dialog while it waits for the device: what it shows, which actions stay available, how it
// closes.

#include <functional>
#include <memory>
#include <thread>

#include <boost/make_shared.hpp>

#include <QApplication>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include "dialogs/magneto_calibration_dialog.h"
#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fit/made_ellipsoid.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/x11_windows.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr unsigned short kMaskBefore = 0x0044;
constexpr unsigned short kMaskWhileOpen = 0x0144;

using Packet = std::vector<unsigned char>;

sim::DeviceOptions options()
{
    sim::DeviceOptions options;
    options.settings.baud = 921600;
    options.settings.outputs = kMaskWhileOpen;
    options.startUp = 0ms;
    return options;
}

} // namespace

class TestMagnetoCalibrationLoad : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void closingEndsADownload_data();
    void closingEndsADownload();
    void commandsWaitForTheDownload();
    void loadsAgainAfterwards();
    void showsThatItIsBusy_data();
    void showsThatItIsBusy();

private:
    QPushButton *button(const QString &name) { return m_dialog->findChild<QPushButton *>(name); }
    QPlainTextEdit *pane() { return m_dialog->findChild<QPlainTextEdit *>(u"plainTextEdit"_s); }
    QStringList log() { return pane()->toPlainText().split(u'\n', Qt::SkipEmptyParts); }
    void click(const QString &name) { QTest::mouseClick(button(name), Qt::LeftButton); }
    // Calls act() once, in the middle of a download, when the log contains the line.
    void atLine(const QString &line, const std::function<void()> &act);

    boost::shared_ptr<imu> m_driver;
    std::function<void()> m_onSleep;
    std::unique_ptr<sim::ImuSimulatorServer> m_device;
    std::unique_ptr<MagnetoCalibrationDialog> m_dialog;
};

void TestMagnetoCalibrationLoad::initTestCase()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->setSleeper([this](std::chrono::milliseconds duration) {
        if (m_onSleep)
            m_onSleep();
        std::this_thread::sleep_for(duration);
    });
    m_driver->start();
}

void TestMagnetoCalibrationLoad::init()
{
    m_device = std::make_unique<sim::ImuSimulatorServer>(options());
    QVERIFY(m_driver->connect(m_device->path(), 921600, 8, 0, 1));
    QVERIFY(QTest::qWaitFor([this] { return !m_driver->getQuaternion().empty(); }));
    m_dialog = std::make_unique<MagnetoCalibrationDialog>(m_driver.get(), nullptr, kMaskBefore);
    m_dialog->show();
    m_dialog->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_dialog.get()));
}

void TestMagnetoCalibrationLoad::cleanup()
{
    m_onSleep = {};
    m_dialog.reset();
    m_driver->disconnect();
    m_device.reset();
}

void TestMagnetoCalibrationLoad::atLine(const QString &line, const std::function<void()> &act)
{
    auto *const timer = new QTimer(m_dialog.get());
    connect(timer, &QTimer::timeout, this, [this, timer, line, act] {
        if (!log().contains(line))
            return;
        timer->stop();
        act();
    });
    timer->start(0);
}

void TestMagnetoCalibrationLoad::closingEndsADownload_data()
{
    QTest::addColumn<std::function<void(QDialog &)>>("close");
    QTest::addColumn<int>("outputs");
    const auto row = [](const char *name, int outputs, const std::function<void(QDialog &)> &how) {
        QTest::newRow(name) << how << outputs;
    };
    row("Close button", kMaskBefore, [](QDialog &dialog) {
        QTest::mouseClick(dialog.findChild<QPushButton *>(u"push_close"_s), Qt::LeftButton);
    });
    row("Escape", kMaskWhileOpen,
        [](QDialog &dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
    row("title bar", kMaskWhileOpen,
        [](QDialog &) { QVERIFY(askToClose(QCoreApplication::applicationPid())); });
}

// The device reports 4 GB, which takes a month to download. After the dialog has closed, the device
// sends its outputs again.
void TestMagnetoCalibrationLoad::closingEndsADownload()
{
    QFETCH(std::function<void(QDialog &)>, close);
    QFETCH(int, outputs);
    m_device->change([](sim::ImuSimulator &device) {
        device.faults().replyPayload[21] = {21, 0, 0xFF, 0xFF, 0xFF};
        Packet block(97, 0);
        block[0] = 20;
        device.faults().replyPayload[20] = block;
    });
    atLine(u"Reading block 256"_s, [&] { close(*m_dialog); });
    click(u"pushButton"_s);
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(log().first(), u"Reading 4294967040 bytes ..."_s);
    QVERIFY2(log().last().startsWith(u"Reading block "_s), qPrintable(log().last()));
    QCOMPARE(m_device->inspect([](const auto &d) { return int(d.memory().active.outputs); }),
             outputs);
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestMagnetoCalibrationLoad::commandsWaitForTheDownload()
{
    m_device->change([](sim::ImuSimulator &device) {
        device.calibrationStore().setPoints(Maker(1).samples({{40, 50, 60}}, 24));
    });
    m_device->clearReceivedCommands();
    QStringList enabled;
    QString focused;
    atLine(u"Reading block 0"_s, [&] {
        focused = m_dialog->focusWidget()->objectName();
        for (const auto *each : m_dialog->findChildren<QPushButton *>()) {
            if (each->isEnabled())
                enabled << each->objectName();
        }
        for (const auto &name : {u"push_start_calib"_s, u"push_stop_calib"_s, u"pushButton"_s,
                                 u"push_apply_calib"_s, u"push_save_device"_s})
            click(name);
        m_dialog->on_pushButton_clicked();
    });
    button(u"pushButton"_s)->setFocus();
    click(u"pushButton"_s);
    QCOMPARE(enabled, QStringList{u"push_close"_s});
    QCOMPARE(focused, u"plainTextEdit"_s);
    QCOMPARE(log().size(), 8);
    QCOMPARE(log()[5], u"Data load successful from device: 24 points"_s);
    QVERIFY2(log()[7].endsWith(u", N=24, Good"_s), qPrintable(log()[7]));
    for (const Packet &packet : m_device->receivedCommands())
        QVERIFY(!(packet[4] == 13 && packet[5] == 15) && packet[4] != 11);
    for (const auto &name :
         {u"push_start_calib"_s, u"push_stop_calib"_s, u"pushButton"_s, u"push_apply_calib"_s})
        QVERIFY2(button(name)->isEnabled(), qPrintable(name));
    QVERIFY(!button(u"push_save_device"_s)->isEnabled());
    QVERIFY(button(u"pushButton"_s)->hasFocus());
}

void TestMagnetoCalibrationLoad::loadsAgainAfterwards()
{
    m_device->change([](sim::ImuSimulator &device) {
        device.calibrationStore().setPoints(Maker(1).samples({{40, 50, 60}}, 24));
    });
    for (int load = 1; load <= 2; ++load) {
        click(u"pushButton"_s);
        QCOMPARE(log().count(u"Data load successful from device: 24 points"_s), load);
    }
}

void TestMagnetoCalibrationLoad::showsThatItIsBusy_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("code");
    QTest::newRow("apply") << u"push_apply_calib"_s << 15;
    QTest::newRow("save") << u"push_save_device"_s << 11;
    QTest::newRow("load") << u"pushButton"_s << 12;
    QTest::newRow("close") << u"push_close"_s << 9;
}

// The device ignores the first command, so the driver always waits at least once.
void TestMagnetoCalibrationLoad::showsThatItIsBusy()
{
    QFETCH(QString, name);
    QFETCH(int, code);
    button(name)->setEnabled(true);
    m_device->change([code](sim::ImuSimulator &device) {
        device.faults().ignoreFirst[static_cast<unsigned char>(code)] = 1;
    });
    int sleeps = 0;
    int busy = 0;
    m_onSleep = [&] {
        const QCursor *const shown = QGuiApplication::overrideCursor();
        ++sleeps;
        busy += shown && shown->shape() == Qt::WaitCursor ? 1 : 0;
    };
    QVERIFY(!QGuiApplication::overrideCursor());
    click(name);
    m_onSleep = {};
    QVERIFY(sleeps > 0);
    QCOMPARE(busy, sleeps);
    QVERIFY(!QGuiApplication::overrideCursor());
}

VORNIX_TEST_MAIN(TestMagnetoCalibrationLoad, QApplication)

#include "test_magneto_calibration_load.moc"
