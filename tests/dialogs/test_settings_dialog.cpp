#include <array>
#include <functional>
#include <stdexcept>

#include <QCheckBox>

#include "dialogs/settings_dialog.h"
#include "protocol/protocol.h"
#include "tests/dialogs/device_fixture.h"
#include "tests/dialogs/dialog_support.h"
#include "tests/fixtures/box_watcher.h"
#include "tests/fixtures/test_main.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

namespace {

// The last two payload bytes of SET DATA_RATE and SET OUTPUTS are 10 11, left over from GET.
const Bytes kRate50{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x08, 0x32, 0x00, 0x10, 0x11, 0x68, 0x00};
const Bytes kRate100{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x08, 0x64, 0x00, 0x10, 0x11, 0x9A, 0x00};
const Bytes kRate200{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x08, 0xC8, 0x00, 0x10, 0x11, 0xFE, 0x00};
const Bytes kOutputsNone{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x09, 0x00, 0x00, 0x10, 0x11, 0x37, 0x00};
const Bytes kOutputs07{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x09, 0x07, 0x00, 0x10, 0x11, 0x3E, 0x00};
const Bytes kOutputs47{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x09, 0x47, 0x00, 0x10, 0x11, 0x7E, 0x00};
const Bytes kOutputsAll{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x09, 0xFF, 0x00, 0x10, 0x11, 0x36, 0x01};
const Bytes kSaveNone{0x53, 0x43, 0x09, 0x00, 0x0B, 0x00, 0x00, 0x0B, 0x00};
const Bytes kSave47{0x53, 0x43, 0x09, 0x00, 0x0B, 0x47, 0x00, 0x52, 0x00};
const Bytes kSaveAll{0x53, 0x43, 0x09, 0x00, 0x0B, 0xFF, 0x00, 0x0A, 0x01};
const Bytes kFactoryReset07{0x53, 0x43, 0x09, 0x00, 0x0A, 0x07, 0x00, 0x11, 0x00};

// Runs an action between two steps of a Save: the dialog looks up the error text of a step just
// before that step.
class BetweenSteps : public QTranslator
{
public:
    BetweenSteps(const char *text, std::function<void()> action)
        : m_text(text)
        , m_action(std::move(action))
    {
        QCoreApplication::installTranslator(this);
    }

    QString translate(const char * /*context*/, const char *sourceText,
                      const char * /*disambiguation*/, int /*n*/) const override
    {
        if (m_text == sourceText)
            m_action();
        return {};
    }
    bool isEmpty() const override { return false; }

private:
    QByteArray m_text;
    std::function<void()> m_action;
};

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

    void failedDataRate();
    void failedOutputs_data();
    void failedOutputs();
    void failedSave();
    void saveAgainAfterAFailure();
    void serialErrorInEveryStep_data();
    void serialErrorInEveryStep();
    void anotherError();

    void waitsUntilTheDataRateIsConfirmed_data();
    void waitsUntilTheDataRateIsConfirmed();
    void waitsUntilTheSaveIsConfirmed();

    void factoryReset();
    void factoryResetFails();
    void factoryResetThrows_data();
    void factoryResetThrows();

private:
    static QComboBox *combo(const SettingsDialog &dialog, const QString &name)
    {
        return child<QComboBox>(dialog, name);
    }
    static void press(const SettingsDialog &dialog, const QString &name)
    {
        QTest::mouseClick(child<QPushButton>(dialog, name), Qt::LeftButton);
    }
    void unplug() { m_fixture.device().unplug(); }
    static void compareBox(const BoxWatcher &boxes, const SettingsDialog &dialog,
                           QMessageBox::Icon icon, const QString &title, const QString &text);

    DeviceFixture m_fixture;
};

void TestSettingsDialog::compareBox(const BoxWatcher &boxes, const SettingsDialog &dialog,
                                    QMessageBox::Icon icon, const QString &title,
                                    const QString &text)
{
    QCOMPARE(boxes.shown.size(), 1);
    QCOMPARE(boxes.shown[0].title, title);
    QCOMPARE(boxes.shown[0].text, text);
    QCOMPARE(boxes.shown[0].icon, icon);
    QCOMPARE(boxes.shown[0].buttons, QList{QMessageBox::Ok});
    QCOMPARE(boxes.shown[0].parent, &dialog);
    QVERIFY(!boxes.shown[0].busyPointer);
}

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
    unplug();
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
    m_fixture.device().clearReceivedCommands();
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
    m_fixture.device().clearReceivedCommands();
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
    m_fixture.device().clearReceivedCommands();
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
    m_fixture.device().clearReceivedCommands();
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
    m_fixture.device().clearReceivedCommands();
    const BoxWatcher boxes;
    press(dialog, u"push_save"_s);
    QCOMPARE(m_fixture.commands(), (Commands{kRate100, kOutputsAll, kSaveAll}));
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(boxes.shown.isEmpty());
}

// --- Failing -----------------------------------------------------------------------------------

void TestSettingsDialog::failedDataRate()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.driver()->disconnect();
    const BoxWatcher boxes;
    press(dialog, u"push_save"_s);
    compareBox(boxes, dialog, QMessageBox::Warning, u"Device Error"_s,
               u"Failed to set Data Rate."_s);
    QVERIFY(dialog.isVisible());
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestSettingsDialog::failedOutputs_data()
{
    QTest::addColumn<int>("fault");
    QTest::newRow("no answer") << 0;
    QTest::newRow("refused") << 1;
    QTest::newRow("another echo") << 2;
}

void TestSettingsDialog::failedOutputs()
{
    QFETCH(int, fault);
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0007)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    combo(dialog, u"comboBox_preset"_s)->setCurrentText(u"Full output"_s);
    combo(dialog, u"comboBox_quaternion_rate"_s)->setCurrentText(u"200 Hz"_s);
    m_fixture.change([fault](sim::ImuSimulator &simulator) {
        sim::Faults &faults = simulator.faults();
        const std::array kinds{&faults.noReply, &faults.refuse, &faults.wrongEcho};
        kinds.at(static_cast<std::size_t>(fault))->insert(protocol::OUTPUTS);
    });
    m_fixture.haste = 100;
    m_fixture.device().clearReceivedCommands();
    const BoxWatcher boxes;
    press(dialog, u"push_save"_s);
    compareBox(boxes, dialog, QMessageBox::Warning, u"Device Error"_s, u"Failed to set Outputs."_s);
    QVERIFY(dialog.isVisible());
    // There is no rollback: the new data rate is in use, and nothing is stored.
    QCOMPARE(m_fixture.commands(), (Commands{kRate200, kOutputsAll}));
    QVERIFY(m_fixture.count(kOutputsAll) > 1);
    QCOMPARE(int(m_fixture.memory().active.rateHz), 200);
    QCOMPARE(int(m_fixture.memory().flash.rateHz), 100);
}

void TestSettingsDialog::failedSave()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0007)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.device().clearReceivedCommands();
    const BoxWatcher boxes;
    const BetweenSteps hangUp("Failed to save settings to device.",
                              [this] { m_fixture.driver()->disconnect(); });
    press(dialog, u"push_save"_s);
    compareBox(boxes, dialog, QMessageBox::Warning, u"Device Error"_s,
               u"Failed to save settings to device."_s);
    QVERIFY(dialog.isVisible());
    QCOMPARE(m_fixture.commands(), (Commands{kRate100, kOutputs07}));
}

void TestSettingsDialog::saveAgainAfterAFailure()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.driver()->disconnect();
    const BoxWatcher boxes;
    press(dialog, u"push_save"_s);
    QCOMPARE(boxes.shown.size(), 1);
    QVERIFY(dialog.isVisible());
    QVERIFY(m_fixture.connect());
    press(dialog, u"push_save"_s);
    QCOMPARE(boxes.shown.size(), 1);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(m_fixture.commands(), (Commands{kGetSettings, kRate100, kOutputsAll, kSaveAll}));
}

void TestSettingsDialog::serialErrorInEveryStep_data()
{
    QTest::addColumn<QByteArray>("stepText");
    QTest::newRow("data rate") << QByteArray("Failed to set Data Rate.");
    QTest::newRow("outputs") << QByteArray("Failed to set Outputs.");
    QTest::newRow("save") << QByteArray("Failed to save settings to device.");
}

void TestSettingsDialog::serialErrorInEveryStep()
{
    QFETCH(QByteArray, stepText);
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    const BoxWatcher boxes;
    const BetweenSteps pull(stepText.constData(), [this] { unplug(); });
    press(dialog, u"push_save"_s);
    compareBox(boxes, dialog, QMessageBox::Critical, u"Serial Error"_s,
               u"Serial set_option failed:\nwrite_some: Input/output error"_s);
    QVERIFY(dialog.isVisible());
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestSettingsDialog::anotherError()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.onSleep = [] { throw std::runtime_error("it is Friday"); };
    const BoxWatcher boxes;
    press(dialog, u"push_save"_s);
    compareBox(boxes, dialog, QMessageBox::Critical, u"Error"_s, u"it is Friday"_s);
    QVERIFY(dialog.isVisible());
    QVERIFY(!QGuiApplication::overrideCursor());
}

// --- Waiting -----------------------------------------------------------------------------------

void TestSettingsDialog::waitsUntilTheDataRateIsConfirmed_data()
{
    QTest::addColumn<bool>("answersAnotherRate");
    QTest::newRow("no answer") << false;
    QTest::newRow("another rate") << true;
}

void TestSettingsDialog::waitsUntilTheDataRateIsConfirmed()
{
    QFETCH(bool, answersAnotherRate);
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    combo(dialog, u"comboBox_quaternion_rate"_s)->setCurrentText(u"200 Hz"_s);
    m_fixture.change([=](sim::ImuSimulator &simulator) {
        (answersAnotherRate ? simulator.faults().wrongEcho : simulator.faults().noReply)
            .insert(protocol::DATA_RATE);
    });
    m_fixture.haste = 20;
    m_fixture.device().clearReceivedCommands();

    // The device recovers after far more attempts than any limited retry makes, while the command
    // is still waiting.
    constexpr int kAttempts = 200;
    int attemptsWhenCured = 0;
    bool finishedEarly = false;
    m_fixture.onSleep = [&] {
        if (attemptsWhenCured != 0 || m_fixture.count(kRate200) < kAttempts)
            return;
        finishedEarly = !dialog.isVisible();
        m_fixture.change([](sim::ImuSimulator &simulator) { simulator.faults() = {}; });
        attemptsWhenCured = m_fixture.count(kRate200);
    };
    const BoxWatcher boxes;
    press(dialog, u"push_save"_s);
    QVERIFY(!finishedEarly);
    QVERIFY(attemptsWhenCured >= kAttempts);
    QVERIFY(boxes.shown.isEmpty());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(m_fixture.commands(), (Commands{kRate200, kOutputsAll, kSaveAll}));
    QCOMPARE(int(m_fixture.memory().flash.rateHz), 200);
}

void TestSettingsDialog::waitsUntilTheSaveIsConfirmed()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.change([](sim::ImuSimulator &simulator) {
        simulator.faults().ignoreFirst[protocol::SAVE_SETTINGS] = 3;
    });
    m_fixture.haste = 5;
    press(dialog, u"push_save"_s);
    QVERIFY(m_fixture.count(kSaveAll) >= 4);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

// --- Factory settings --------------------------------------------------------------------------

void TestSettingsDialog::factoryReset()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 200, 0x0007)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.device().clearReceivedCommands();
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

void TestSettingsDialog::factoryResetFails()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 200, 0x0007)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.driver()->disconnect();
    const BoxWatcher boxes;
    press(dialog, u"push_factory"_s);
    compareBox(boxes, dialog, QMessageBox::Warning, u"Device Error"_s, u"Factory reset failed."_s);
    QVERIFY(dialog.isVisible());
}

void TestSettingsDialog::factoryResetThrows_data()
{
    QTest::addColumn<bool>("lost");
    QTest::addColumn<QString>("text");
    QTest::newRow("lost device") << true << u"write_some: Input/output error"_s;
    QTest::newRow("another error") << false << u"it is Friday"_s;
}

void TestSettingsDialog::factoryResetThrows()
{
    QFETCH(bool, lost);
    QFETCH(QString, text);
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 200, 0x0007)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    if (lost)
        unplug();
    else
        m_fixture.onSleep = [] { throw std::runtime_error("it is Friday"); };
    const BoxWatcher boxes;
    press(dialog, u"push_factory"_s);
    compareBox(boxes, dialog, QMessageBox::Critical, u"Error"_s, text);
    QVERIFY(dialog.isVisible());
    QVERIFY(!QGuiApplication::overrideCursor());
}

VORNIX_TEST_MAIN(TestSettingsDialog, QApplication)
#include "test_settings_dialog.moc"
