#include <thread>

#include <QPushButton>

#include "dialogs/about.h"
#include "dialogs/device_info_dialog.h"
#include "dialogs/help.h"
#include "dialogs/magneto_calibration_dialog.h"
#include "dialogs/settings_dialog.h"
#include "tests/app/window_fixture.h"

using namespace app_test;

// Opens every dialog from the menus of a connected window.
class TestMainWindowDialogs : public QObject
{
    Q_OBJECT

    DeviceTestbed m_bed;
    WindowFixture m_fixture;
    sim::ImuSimulatorServer *m_device = nullptr;

    std::uint16_t outputsOfTheUnit() const
    {
        return m_device->inspect(
            [](const sim::ImuSimulator &simulator) { return simulator.memory().active.outputs; });
    }

    // Triggers the action, runs a check on the dialog of that class once it is open, and closes it.
    template <class Dialog>
    void open(const char *actionName, const std::function<void(Dialog &)> &lookAndClose)
    {
        bool seen = false;
        QTimer watcher;
        connect(&watcher, &QTimer::timeout, this, [&] {
            auto *dialog = qobject_cast<Dialog *>(QApplication::activeModalWidget());
            if (!dialog || seen)
                return;
            seen = true;
            QCOMPARE(dialog->parentWidget(), m_fixture.window());
            QVERIFY(dialog->isModal());
            lookAndClose(*dialog);
        });
        watcher.start(10);
        m_fixture.action(QString::fromLatin1(actionName))->trigger();
        QVERIFY(seen);
        QVERIFY(!QApplication::activeModalWidget());
    }

    template <class Dialog>
    void open(const char *actionName)
    {
        open<Dialog>(actionName, [](Dialog &dialog) { dialog.reject(); });
    }

private slots:
    void initTestCase()
    {
        m_device = &m_bed.plug("ttyUSB0", streamingAt(921600));
        QVERIFY(m_fixture.show());
    }

    // These two dialogs need no device.
    void aboutAndGuideBeforeConnecting()
    {
        open<AboutDialog>("actionAboutDialog");
        open<HelpDialog>("actionHelpDialog");
    }

    void connectTheDevice()
    {
        m_fixture.scan();
        m_fixture.connectTo(u"ttyUSB0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 921600));
    }

    void deviceInfo()
    {
        open<DeviceInfoDialog>("actionShowDeviceInfo_2", [](DeviceInfoDialog &dialog) {
            QCOMPARE(dialog.findChild<QLineEdit *>(u"line_baud"_s)->text(), u"921600"_s);
            dialog.reject();
        });
    }

    void settings()
    {
        open<SettingsDialog>("actionOpenSettings", [](SettingsDialog &dialog) {
            QCOMPARE(dialog.findChild<QComboBox *>(u"comboBox_baud"_s)->currentText(), u"921600"_s);
            dialog.reject();
        });
    }

    // The dialog switches the raw magnetic field on when it opens; its Close button switches it
    // off.
    void calibrationRaisesTheMaskUntilClosed()
    {
        m_device->clearReceivedCommands();
        open<MagnetoCalibrationDialog>(
            "actionCalibration", [this](MagnetoCalibrationDialog &dialog) {
                QCOMPARE(outputsOfTheUnit(), std::uint16_t{0x0104});
                const auto commands = m_device->receivedCommands();
                QVERIFY(commands.size() >= 2);
                const std::vector<unsigned char> getSettings{0x53, 0x43, 0x0C, 0x00, 0x0C, 0x07,
                                                             0x08, 0x09, 0x10, 0x11, 0x45, 0x00};
                // The two filler bytes come from the settings request before this command.
                const std::vector<unsigned char> setOutputs{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x09,
                                                            0x04, 0x01, 0x10, 0x11, 0x3C, 0x00};
                QCOMPARE(commands.front(), getSettings);
                QCOMPARE(commands.back(), setOutputs);
                dialog.findChild<QPushButton *>(u"push_close"_s)->click();
            });
        QCOMPARE(outputsOfTheUnit(), std::uint16_t{0x0004});
    }

    void calibrationLeftByEscapeKeepsTheMask()
    {
        open<MagnetoCalibrationDialog>("actionCalibration", [](MagnetoCalibrationDialog &dialog) {
            QTest::keyClick(&dialog, Qt::Key_Escape);
        });
        QCOMPARE(outputsOfTheUnit(), std::uint16_t{0x0104});
    }

    void aboutAndGuideWhileConnected()
    {
        open<AboutDialog>("actionAboutDialog");
        open<HelpDialog>("actionHelpDialog");
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 921600));
    }

    void pointerIsBusyUntilTheDialogOpens_data()
    {
        QTest::addColumn<QString>("action");
        QTest::newRow("device info") << u"actionShowDeviceInfo_2"_s;
        QTest::newRow("settings") << u"actionOpenSettings"_s;
        QTest::newRow("calibration") << u"actionCalibration"_s;
    }

    // The busy pointer is on during every wait for a silent device, and off once the dialog is
    // open.
    void pointerIsBusyUntilTheDialogOpens()
    {
        QFETCH(QString, action);
        m_device->change([](sim::ImuSimulator &simulator) { simulator.faults().silent = true; });
        int waits = 0;
        int busy = 0;
        bool opened = false;
        m_fixture.driver()->setSleeper([&](std::chrono::milliseconds) {
            const QCursor *pointer = QGuiApplication::overrideCursor();
            waits += opened ? 0 : 1;
            busy += !opened && pointer && pointer->shape() == Qt::WaitCursor ? 1 : 0;
        });
        open<QDialog>(action.toLatin1().constData(), [&](QDialog &dialog) {
            opened = true;
            QVERIFY(!QGuiApplication::overrideCursor());
            dialog.reject();
        });
        QVERIFY(waits > 100);
        QCOMPARE(busy, waits);
        QVERIFY(!QGuiApplication::overrideCursor());
        m_device->change([](sim::ImuSimulator &simulator) { simulator.faults().silent = false; });
        m_fixture.driver()->setSleeper(
            [](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); });
    }

    void disconnectTheDevice() { m_fixture.disconnect(); }
};

VORNIX_TEST_MAIN(TestMainWindowDialogs, Application)
#include "test_main_window_dialogs.moc"
