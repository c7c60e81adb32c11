#include "dialogs/settings_dialog.h"
#include "protocol/protocol.h"
#include "tests/dialogs/device_fixture.h"
#include "tests/dialogs/dialog_support.h"
#include "tests/dialogs/settings_support.h"
#include "tests/fixtures/box_watcher.h"
#include "tests/fixtures/test_main.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

namespace {

const Bytes kBaud115200{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x07, 0x00, 0xC2, 0x01, 0x00, 0xD7, 0x00};
const Bytes kBaud921600{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x07, 0x00, 0x10, 0x0E, 0x00, 0x32, 0x00};
const Bytes kBaud460800{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x07, 0x00, 0x08, 0x07, 0x00, 0x23, 0x00};

} // namespace

// Changes the baud rate from the settings dialog. The waits for the new baud rate are not
// shortened: more than two seconds each.
class TestSettingsBaud : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void changesTheBaudRateAndKeepsStreaming();
    void unlistedBaudRateIsReplacedByTheShownOne();
    void sameBaudRateIsNotSent();
    void lateDeviceIsFoundAgain();
    void firstCommandIgnoredIsSentAgain();
    void failsWhenTheBaudRateIsNotReported();
    void baudRateSetBeforeAFailureIsRemembered();
    void lostPortIsASerialError();

private:
    static void choose(const SettingsDialog &dialog, const QString &baud)
    {
        combo(dialog, u"comboBox_baud"_s)->setCurrentText(baud);
    }
    static void save(const SettingsDialog &dialog) { press(dialog, u"push_save"_s); }
    std::uint32_t lineBaud() const
    {
        return m_fixture.device().inspect(
            [](const sim::ImuSimulator &simulator) { return simulator.lineBaud(); });
    }
    // The commands without the settings requests at the opening of the dialog and after a change.
    Commands commandsButReads() const
    {
        Commands commands = m_fixture.commands();
        std::erase(commands, kGetSettings);
        return commands;
    }

    DeviceFixture m_fixture;
};

void TestSettingsBaud::init()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x00FF)));
}

void TestSettingsBaud::changesTheBaudRateAndKeepsStreaming()
{
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    choose(dialog, u"921600"_s);
    child<QComboBox>(dialog, u"comboBox_quaternion_rate"_s)->setCurrentText(u"200 Hz"_s);
    m_fixture.clearCommands();
    const BoxWatcher boxes;
    save(dialog);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(boxes.shown.isEmpty());
    QCOMPARE(m_fixture.commands(),
             (Commands{kRate200, kBaud921600, kGetSettings, kOutputsAll, kSaveAll}));
    QCOMPARE(lineBaud(), 921600U);
    QVERIFY(m_fixture.streams());
    QCOMPARE(m_fixture.memory().flash.baud, 921600U);
    QCOMPARE(int(m_fixture.memory().flash.rateHz), 200);
}

void TestSettingsBaud::unlistedBaudRateIsReplacedByTheShownOne()
{
    QVERIFY(m_fixture.connectTo(deviceWith(1500000, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    auto *const bauds = child<QComboBox>(dialog, u"comboBox_baud"_s);
    QCOMPARE(bauds->currentText(), u"115200"_s);
    QCOMPARE(bauds->count(), 5);
    dialog.show();
    save(dialog);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(commandsButReads(), (Commands{kRate100, kBaud115200, kOutputsAll, kSaveAll}));
    QCOMPARE(m_fixture.memory().flash.baud, 115200U);
    QVERIFY(m_fixture.streams());
}

void TestSettingsBaud::sameBaudRateIsNotSent()
{
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    save(dialog);
    QCOMPARE(commandsButReads(), (Commands{kRate100, kOutputsAll, kSaveAll}));
}

void TestSettingsBaud::lateDeviceIsFoundAgain()
{
    m_fixture.change([](sim::ImuSimulator &simulator) {
        simulator.faults().baudChangeDelay = std::chrono::milliseconds(3000);
    });
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    choose(dialog, u"460800"_s);
    const BoxWatcher boxes;
    save(dialog);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(boxes.shown.isEmpty());
    QCOMPARE(lineBaud(), 460800U);
    QVERIFY(m_fixture.streams());
}

void TestSettingsBaud::firstCommandIgnoredIsSentAgain()
{
    m_fixture.change([](sim::ImuSimulator &simulator) {
        simulator.faults().ignoreFirst[protocol::BAUD_RATE] = 1;
    });
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    choose(dialog, u"460800"_s);
    const BoxWatcher boxes;
    save(dialog);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(boxes.shown.isEmpty());
    QCOMPARE(commandsButReads(), (Commands{kRate100, kBaud460800, kOutputsAll, kSaveAll}));
    QVERIFY(m_fixture.count(kBaud460800) >= 2);
    QCOMPARE(lineBaud(), 460800U);
    QVERIFY(m_fixture.streams());
}

void TestSettingsBaud::failsWhenTheBaudRateIsNotReported()
{
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    choose(dialog, u"921600"_s);
    // The reply contains all five parameters, with a baud rate of 0.
    m_fixture.change([](sim::ImuSimulator &simulator) {
        simulator.faults().replyPayload[protocol::GET] = {0x07, 0, 0,    0,    0,    0x08, 0x64,
                                                          0,    9, 0xFF, 0,    0x10, 3,    2,
                                                          0,    1, 0x11, 0xEE, 0xFF, 0xC0, 0};
    });
    const BoxWatcher boxes;
    save(dialog);
    QCOMPARE(boxes.shown.size(), 1);
    QCOMPARE(boxes.shown[0].icon, QMessageBox::Warning);
    QCOMPARE(boxes.shown[0].title, u"Device Error"_s);
    QCOMPARE(boxes.shown[0].text, u"Failed to change Baud Rate."_s);
    QVERIFY(dialog.isVisible());
    QCOMPARE(commandsButReads(), (Commands{kRate100, kBaud921600}));
}

void TestSettingsBaud::baudRateSetBeforeAFailureIsRemembered()
{
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    choose(dialog, u"921600"_s);
    dialog.applyOutputsMask(0x47);
    m_fixture.change([](sim::ImuSimulator &simulator) {
        simulator.faults().wrongEcho.insert(protocol::OUTPUTS);
    });
    const BoxWatcher boxes;
    save(dialog);
    QCOMPARE(boxes.shown.size(), 1);
    QCOMPARE(boxes.shown[0].text, u"Failed to set Outputs."_s);
    QVERIFY(dialog.isVisible());
    QCOMPARE(lineBaud(), 921600U);

    m_fixture.change([](sim::ImuSimulator &simulator) { simulator.faults() = {}; });
    m_fixture.clearCommands();
    save(dialog);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(m_fixture.commands(), (Commands{kRate100, kOutputs47, kSave47}));

    dialog.show();
    choose(dialog, u"115200"_s);
    m_fixture.clearCommands();
    save(dialog);
    QCOMPARE(commandsButReads(), (Commands{kRate100, kBaud115200, kOutputs47, kSave47}));
    QCOMPARE(boxes.shown.size(), 1);
    QVERIFY(m_fixture.streams());
}

void TestSettingsBaud::lostPortIsASerialError()
{
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    choose(dialog, u"921600"_s);
    // The device is unplugged while the driver waits for the new baud rate, so the port is gone
    // when the driver opens it again.
    m_fixture.change([](sim::ImuSimulator &simulator) {
        simulator.faults().ignoreFirst[protocol::BAUD_RATE] = 1;
    });
    bool pulled = false;
    m_fixture.onSleep = [&] {
        if (!pulled && m_fixture.count(kBaud921600) == 1) {
            pulled = true;
            m_fixture.device().unplug();
        }
    };
    const BoxWatcher boxes;
    save(dialog);
    QCOMPARE(boxes.shown.size(), 1);
    QCOMPARE(boxes.shown[0].icon, QMessageBox::Critical);
    QCOMPARE(boxes.shown[0].title, u"Serial Error"_s);
    QCOMPARE(boxes.shown[0].text, u"Serial set_option failed:\nopen: No such file or directory"_s);
    QVERIFY(dialog.isVisible());
}

VORNIX_TEST_MAIN(TestSettingsBaud, QApplication)
#include "test_settings_baud.moc"
