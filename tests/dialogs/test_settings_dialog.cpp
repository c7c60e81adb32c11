#include <QCheckBox>

#include "dialogs/settings_dialog.h"
#include "tests/dialogs/device_fixture.h"
#include "tests/dialogs/dialog_support.h"
#include "tests/dialogs/settings_support.h"
#include "tests/fixtures/box_watcher.h"
#include "tests/fixtures/test_main.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

namespace {

const Bytes kRate50{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x08, 0x32, 0x00, 0x10, 0x11, 0x68, 0x00};
const Bytes kOutputsNone{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x09, 0x00, 0x00, 0x10, 0x11, 0x37, 0x00};
const Bytes kSaveNone{0x53, 0x43, 0x09, 0x00, 0x0B, 0x00, 0x00, 0x0B, 0x00};
const Bytes kFactoryReset07{0x53, 0x43, 0x09, 0x00, 0x0A, 0x07, 0x00, 0x11, 0x00};

} // namespace

// The settings dialog as a window, connected to a simulated device.
class TestSettingsDialog : public QObject
{
    Q_OBJECT

private slots:
    void opensWithTheDevicesSettings_data();
    void opensWithTheDevicesSettings();
    void opensWithAnUnlistedRate();
    void opensWithNoOutputs();
    void opensWithASilentDevice();
    void opensWithALostDevice();
    void readsTheDeviceOnce();

    void cancelSendsNothing();
    void invalidTextsSendNothing_data();
    void invalidTextsSendNothing();

    void saveSendsItsStepsInOrder();
    void saveStoresInTheDevice();
    void customSavesAnEmptyMask();
    void unansweringBaudIsNeverChanged();

    void factoryReset();

private:
    DeviceFixture m_fixture;
};

// --- Opening -----------------------------------------------------------------------------------

void TestSettingsDialog::opensWithTheDevicesSettings_data()
{
    QTest::addColumn<unsigned int>("baud");
    QTest::addColumn<unsigned short>("rate");
    QTest::addColumn<unsigned short>("outputs");
    QTest::addColumn<QString>("baudText");
    QTest::addColumn<QString>("rateText");
    const auto row = [](unsigned int baud, unsigned short rate, unsigned short outputs,
                        const QString &baudText, const QString &rateText) {
        QTest::addRow("%u %d", baud, int(rate)) << baud << rate << outputs << baudText << rateText;
    };
    row(115200, 50, 0x0004, u"115200"_s, u"50 Hz"_s);
    row(230400, 100, 0x0024, u"230400"_s, u"100 Hz"_s);
    row(460800, 200, 0x004F, u"460800"_s, u"200 Hz"_s);
    row(921600, 500, 0x0094, u"921600"_s, u"500 Hz"_s);
    row(1000000, 1000, 0x00FF, u"1000000"_s, u"1000 Hz"_s);
}

void TestSettingsDialog::opensWithTheDevicesSettings()
{
    QFETCH(unsigned int, baud);
    QFETCH(unsigned short, rate);
    QFETCH(unsigned short, outputs);
    QFETCH(QString, baudText);
    QFETCH(QString, rateText);
    QVERIFY(m_fixture.connectTo(deviceWith(baud, rate, outputs)));
    const SettingsDialog dialog(m_fixture.driver(), nullptr);
    QCOMPARE(combo(dialog, u"comboBox_baud"_s)->currentText(), baudText);
    QCOMPARE(combo(dialog, u"comboBox_quaternion_rate"_s)->currentText(), rateText);
    QCOMPARE(dialog.buildOutputsMask(), outputs);
    QCOMPARE(combo(dialog, u"comboBox_preset"_s)->currentText(), u"Custom"_s);
    QCOMPARE(m_fixture.commands(), Commands{kGetSettings});
}

void TestSettingsDialog::opensWithAnUnlistedRate()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 400, 0x0104)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    QComboBox *const rates = combo(dialog, u"comboBox_quaternion_rate"_s);
    QCOMPARE(rates->currentText(), u"50 Hz"_s);
    QCOMPARE(rates->count(), 5);
    QCOMPARE(int(dialog.buildOutputsMask()), 0x04);
    dialog.show();
    press(dialog, u"push_save"_s);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(m_fixture.commands().at(1), kRate50);
    QCOMPARE(int(m_fixture.memory().flash.rateHz), 50);
}

void TestSettingsDialog::opensWithNoOutputs()
{
    // The driver connects while the device streams, because it cannot find a device without
    // outputs.
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0004)));
    m_fixture.change([](sim::ImuSimulator &simulator) {
        sim::DeviceSettings settings = simulator.memory().active;
        settings.outputs = 0;
        simulator.setSettings(settings);
    });
    const SettingsDialog dialog(m_fixture.driver(), nullptr);
    QCOMPARE(int(dialog.buildOutputsMask()), 0);
    QCOMPARE(combo(dialog, u"comboBox_quaternion_rate"_s)->currentText(), u"100 Hz"_s);
}

void TestSettingsDialog::opensWithASilentDevice()
{
    QVERIFY(m_fixture.connectTo(deviceWith(460800, 200, 0x0004)));
    m_fixture.change([](sim::ImuSimulator &simulator) { simulator.faults().silent = true; });
    m_fixture.haste = 200;
    const BoxWatcher boxes;
    const SettingsDialog dialog(m_fixture.driver(), nullptr);
    QCOMPARE(combo(dialog, u"comboBox_baud"_s)->currentText(), u"115200"_s);
    QCOMPARE(combo(dialog, u"comboBox_quaternion_rate"_s)->currentText(), u"50 Hz"_s);
    QCOMPARE(int(dialog.buildOutputsMask()), 0);
    QVERIFY(boxes.shown.isEmpty());
}

void TestSettingsDialog::opensWithALostDevice()
{
    QVERIFY(m_fixture.connectTo(deviceWith(460800, 200, 0x0004)));
    m_fixture.device().unplug();
    const BoxWatcher boxes;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^settings not read: write_some"_s));
    const SettingsDialog dialog(m_fixture.driver(), nullptr);
    QCOMPARE(combo(dialog, u"comboBox_baud"_s)->currentText(), u"115200"_s);
    QVERIFY(boxes.shown.isEmpty());
}

void TestSettingsDialog::readsTheDeviceOnce()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0004)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    combo(dialog, u"comboBox_preset"_s)->setCurrentIndex(5);
    child<QCheckBox>(dialog, u"check_mag"_s)->click();
    combo(dialog, u"comboBox_baud"_s)->setCurrentIndex(4);
    QVERIFY(m_fixture.streams());
    QCOMPARE(m_fixture.commands(), Commands{kGetSettings});
}

// --- Leaving, and choices that change nothing --------------------------------------------------

void TestSettingsDialog::cancelSendsNothing()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0004)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    combo(dialog, u"comboBox_baud"_s)->setCurrentText(u"921600"_s);
    combo(dialog, u"comboBox_preset"_s)->setCurrentText(u"Full output"_s);
    m_fixture.clearCommands();
    press(dialog, u"push_cancel"_s);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    // A command sent earlier would have arrived before the samples that follow.
    QVERIFY(m_fixture.streams());
    QCOMPARE(m_fixture.commands(), Commands{});
    QVERIFY(m_fixture.memory().active == deviceWith(115200, 100, 0x0004).settings);
}

void TestSettingsDialog::invalidTextsSendNothing_data()
{
    QTest::addColumn<QString>("baud");
    QTest::addColumn<QString>("rate");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    QTest::newRow("rate") << u"115200"_s << u"often"_s << u"Invalid Data Rate"_s
                          << u"Please select a valid data rate."_s;
    QTest::newRow("baud") << u"fast"_s << u"50 Hz"_s << u"Invalid Baud Rate"_s
                          << u"Please select a valid baud rate."_s;
    QTest::newRow("both") << u"fast"_s << u"often"_s << u"Invalid Data Rate"_s
                          << u"Please select a valid data rate."_s;
    QTest::newRow("zero") << u"115200"_s << u"0 Hz"_s << u"Invalid Data Rate"_s
                          << u"Please select a valid data rate."_s;
}

void TestSettingsDialog::invalidTextsSendNothing()
{
    QFETCH(QString, baud);
    QFETCH(QString, rate);
    QFETCH(QString, title);
    QFETCH(QString, text);
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 50, 0x0004)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    combo(dialog, u"comboBox_baud"_s)->setItemText(0, baud);
    combo(dialog, u"comboBox_quaternion_rate"_s)->setItemText(0, rate);
    m_fixture.clearCommands();
    const BoxWatcher boxes;
    press(dialog, u"push_save"_s);
    compareBox(boxes, dialog, QMessageBox::Warning, title, text);
    QVERIFY(dialog.isVisible());
    QVERIFY(m_fixture.streams());
    QCOMPARE(m_fixture.commands(), Commands{});
}

// --- Saving ------------------------------------------------------------------------------------

void TestSettingsDialog::saveSendsItsStepsInOrder()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0007)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    combo(dialog, u"comboBox_quaternion_rate"_s)->setCurrentText(u"200 Hz"_s);
    combo(dialog, u"comboBox_preset"_s)->setCurrentText(u"Quaternion + inertial data"_s);
    m_fixture.clearCommands();
    const BoxWatcher boxes;
    press(dialog, u"push_save"_s);
    QCOMPARE(m_fixture.commands(), (Commands{kRate200, kOutputs47, kSave47}));
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(boxes.shown.isEmpty());
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestSettingsDialog::saveStoresInTheDevice()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0004)));
    {
        SettingsDialog dialog(m_fixture.driver(), nullptr);
        dialog.show();
        combo(dialog, u"comboBox_quaternion_rate"_s)->setCurrentText(u"200 Hz"_s);
        combo(dialog, u"comboBox_preset"_s)->setCurrentText(u"Full output"_s);
        press(dialog, u"push_save"_s);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
    }
    m_fixture.device().powerCycle();
    const SettingsDialog again(m_fixture.driver(), nullptr);
    QCOMPARE(combo(again, u"comboBox_quaternion_rate"_s)->currentText(), u"200 Hz"_s);
    QCOMPARE(int(again.buildOutputsMask()), 0xFF);
}

void TestSettingsDialog::customSavesAnEmptyMask()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    combo(dialog, u"comboBox_preset"_s)->setCurrentText(u"Full output"_s);
    combo(dialog, u"comboBox_preset"_s)->setCurrentText(u"Custom"_s);
    m_fixture.clearCommands();
    press(dialog, u"push_save"_s);
    QCOMPARE(m_fixture.commands(), (Commands{kRate100, kOutputsNone, kSaveNone}));
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

void TestSettingsDialog::unansweringBaudIsNeverChanged()
{
    QVERIFY(m_fixture.connectTo(deviceWith(0, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    combo(dialog, u"comboBox_baud"_s)->setCurrentText(u"921600"_s);
    m_fixture.clearCommands();
    const BoxWatcher boxes;
    press(dialog, u"push_save"_s);
    QCOMPARE(m_fixture.commands(), (Commands{kRate100, kOutputsAll, kSaveAll}));
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(boxes.shown.isEmpty());
}

// --- Factory settings --------------------------------------------------------------------------

void TestSettingsDialog::factoryReset()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 200, 0x0007)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.clearCommands();
    const BoxWatcher boxes;
    press(dialog, u"push_factory"_s);
    compareBox(boxes, dialog, QMessageBox::Information, u"Device Factory Settings"_s,
               u"Reverting to factory settings is successful.\n"
               "Please restart the device in order for the settings to take effect."_s);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(m_fixture.commands(), Commands{kFactoryReset07});
    QVERIFY(m_fixture.memory().flash == sim::DeviceSettings{});
}

VORNIX_TEST_MAIN(TestSettingsDialog, QApplication)
#include "test_settings_dialog.moc"
