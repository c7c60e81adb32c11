#include <array>
#include <functional>
#include <stdexcept>

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

const Bytes kOutputs07{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x09, 0x07, 0x00, 0x10, 0x11, 0x3E, 0x00};

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

// The settings dialog while the device does not answer, refuses or is lost.
class TestSettingsFailures : public QObject
{
    Q_OBJECT

private slots:
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

    void factoryResetFails();
    void factoryResetThrows_data();
    void factoryResetThrows();

private:
    DeviceFixture m_fixture;
};

// --- Failing -----------------------------------------------------------------------------------

void TestSettingsFailures::failedDataRate()
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

void TestSettingsFailures::failedOutputs_data()
{
    QTest::addColumn<int>("fault");
    QTest::newRow("no answer") << 0;
    QTest::newRow("refused") << 1;
    QTest::newRow("another echo") << 2;
}

void TestSettingsFailures::failedOutputs()
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
    m_fixture.clearCommands();
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

void TestSettingsFailures::failedSave()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0007)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.clearCommands();
    const BoxWatcher boxes;
    const BetweenSteps hangUp("Failed to save settings to device.",
                              [this] { m_fixture.driver()->disconnect(); });
    press(dialog, u"push_save"_s);
    compareBox(boxes, dialog, QMessageBox::Warning, u"Device Error"_s,
               u"Failed to save settings to device."_s);
    QVERIFY(dialog.isVisible());
    QCOMPARE(m_fixture.commands(), (Commands{kRate100, kOutputs07}));
}

void TestSettingsFailures::saveAgainAfterAFailure()
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

void TestSettingsFailures::serialErrorInEveryStep_data()
{
    QTest::addColumn<QByteArray>("stepText");
    QTest::newRow("data rate") << QByteArray("Failed to set Data Rate.");
    QTest::newRow("outputs") << QByteArray("Failed to set Outputs.");
    QTest::newRow("save") << QByteArray("Failed to save settings to device.");
}

void TestSettingsFailures::serialErrorInEveryStep()
{
    QFETCH(QByteArray, stepText);
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x00FF)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    const BoxWatcher boxes;
    const BetweenSteps pull(stepText.constData(), [this] { m_fixture.device().unplug(); });
    press(dialog, u"push_save"_s);
    compareBox(boxes, dialog, QMessageBox::Critical, u"Serial Error"_s,
               u"Serial set_option failed:\nwrite_some: Input/output error"_s);
    QVERIFY(dialog.isVisible());
    QVERIFY(!QGuiApplication::overrideCursor());
}

void TestSettingsFailures::anotherError()
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

void TestSettingsFailures::waitsUntilTheDataRateIsConfirmed_data()
{
    QTest::addColumn<bool>("answersAnotherRate");
    QTest::newRow("no answer") << false;
    QTest::newRow("another rate") << true;
}

void TestSettingsFailures::waitsUntilTheDataRateIsConfirmed()
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
    m_fixture.clearCommands();

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

void TestSettingsFailures::waitsUntilTheSaveIsConfirmed()
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

void TestSettingsFailures::factoryResetFails()
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

void TestSettingsFailures::factoryResetThrows_data()
{
    QTest::addColumn<bool>("lost");
    QTest::addColumn<QString>("text");
    QTest::newRow("lost device") << true << u"write_some: Input/output error"_s;
    QTest::newRow("another error") << false << u"it is Friday"_s;
}

void TestSettingsFailures::factoryResetThrows()
{
    QFETCH(bool, lost);
    QFETCH(QString, text);
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 200, 0x0007)));
    SettingsDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    if (lost)
        m_fixture.device().unplug();
    else
        m_fixture.onSleep = [] { throw std::runtime_error("it is Friday"); };
    const BoxWatcher boxes;
    press(dialog, u"push_factory"_s);
    compareBox(boxes, dialog, QMessageBox::Critical, u"Error"_s, text);
    QVERIFY(dialog.isVisible());
    QVERIFY(!QGuiApplication::overrideCursor());
}

VORNIX_TEST_MAIN(TestSettingsFailures, QApplication)
#include "test_settings_failures.moc"
