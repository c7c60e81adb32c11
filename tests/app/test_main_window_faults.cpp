#include <thread>

#include <QComboBox>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>

#include "dialogs/settings_dialog.h"
#include "tests/app/window_fixture.h"
#include "tests/fixtures/box_watcher.h"
#include "tests/sim/host.h"

using namespace app_test;
using namespace std::chrono_literals;

// The cable, the power or the line fails while the program searches, saves or writes. The window
// stays usable, reports the failure, and connects again.
class TestMainWindowFaults : public QObject
{
    Q_OBJECT

    // The message boxes that an action has shown, and what happened to its dialog.
    struct Shown
    {
        QStringList boxes; // title and text
        bool opened = false;
        bool accepted = false;
    };

    DeviceTestbed m_bed;
    WindowFixture m_fixture;

    sim::ImuSimulatorServer &device() { return m_bed.device("ttyUSB0"); }
    QString report() const { return m_fixture.label(u"label_status"_s)->toolTip(); }

    // Returns after a loop of the device's thread that began after this call: it has then adopted
    // its options.
    bool waitForTheDevice()
    {
        const auto now = [this] { return device().inspect([](const auto &d) { return d.now(); }); };
        const sim::Time before = now();
        return eventually([&] { return now() > before; });
    }

    bool hasReceived(unsigned char code)
    {
        for (const auto &command : device().receivedCommands()) {
            if (command[4] == code)
                return true;
        }
        return false;
    }

    // Chooses the action, passes its dialog to `act` once and closes the dialog afterwards.
    Shown choose(const QString &action, const std::function<void(QDialog &)> &act = {})
    {
        Shown shown;
        const BoxWatcher boxes;
        QTimer watcher;
        connect(&watcher, &QTimer::timeout, this, [&] {
            auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
            if (!dialog || qobject_cast<QMessageBox *>(dialog) || shown.opened)
                return;
            shown.opened = true;
            connect(dialog, &QDialog::accepted, this, [&] { shown.accepted = true; });
            if (act)
                act(*dialog);
            dialog->reject();
        });
        watcher.start(10);
        m_fixture.choose(action);
        shown.boxes = boxes.texts();
        return shown;
    }

    // Chooses 200 Hz and Save to Device. Another thread calls `meanwhile` while the GUI thread
    // waits for the device.
    Shown save(const std::function<void()> &meanwhile)
    {
        return choose(u"actionOpenSettings"_s, [&](QDialog &dialog) {
            dialog.findChild<QComboBox *>(u"comboBox_quaternion_rate"_s)
                ->setCurrentText(u"200 Hz"_s);
            device().clearReceivedCommands();
            const std::jthread other(meanwhile);
            dialog.findChild<QPushButton *>(u"push_save"_s)->click();
        });
    }

    void connectAgain(const QString &port = u"ttyUSB0"_s)
    {
        m_fixture.disconnect();
        QCOMPARE(m_fixture.status(), u"Not connected"_s);
        QVERIFY(report().isEmpty());
        m_fixture.scan();
        m_fixture.connectTo(port);
        QCOMPARE(m_fixture.status(), connectedText(port, 921600));
        QVERIFY(m_fixture.deviceActionsEnabled());
        QVERIFY(m_fixture.waitForTwoRates());
        QVERIFY(m_fixture.label(u"label_datarate"_s)->text() != u"Receiving 0 Hz"_s);
    }

    sim::DeviceMemory memory()
    {
        return device().inspect(
            [](const sim::ImuSimulator &simulator) { return simulator.memory(); });
    }

private slots:
    void initTestCase()
    {
        m_bed.plug("ttyUSB0", streamingAt(921600));
        QVERIFY(m_fixture.show());
        m_fixture.scan();
    }

    void init() { connectAgain(); }

    void cleanup()
    {
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(!QGuiApplication::overrideCursor());
        m_bed.unplug("ttyUSB0"); // also a device that is unplugged but still listed
        m_bed.replug("ttyUSB0");
        device().setLineOptions({});
        device().change([](sim::ImuSimulator &simulator) {
            simulator.faults() = {};
            simulator.setFlashTime({});
            simulator.setMemory({streamingAt(921600).settings, streamingAt(921600).settings});
        });
    }

    // The port is open at the first baud rate; the next one cannot be tried.
    void unpluggedDuringTheSearch()
    {
        m_fixture.disconnect();
        device().change([](sim::ImuSimulator &simulator) {
            simulator.setSettings(streamingAt(57600).settings);
        });
        bool unplugged = false;
        QTimer user;
        connect(&user, &QTimer::timeout, this, [&] {
            if (!unplugged && m_fixture.status() == tryingText(u"ttyUSB0"_s, 921600) &&
                device().isOpenedByHost()) {
                unplugged = true;
                m_bed.unplug("ttyUSB0");
            }
        });
        user.start(20);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Unhandled error: open: "_s));
        m_fixture.connectTo(u"ttyUSB0"_s);
        QVERIFY(unplugged);
        QCOMPARE(m_fixture.status(), tryingText(u"ttyUSB0"_s, 460800));
        QVERIFY2(report().contains(u"open: No such file or directory"_s), qPrintable(report()));
        QVERIFY(m_fixture.deviceActionsDisabled());
        m_bed.replug("ttyUSB0");
        connectAgain();
    }

    void unpluggedWhileSaving()
    {
        device().change([](sim::ImuSimulator &simulator) { simulator.setFlashTime({24h, 24h}); });
        bool isSaving = false;
        const Shown shown = save([&] {
            isSaving = eventually([this] { return hasReceived(protocol::SAVE_SETTINGS); });
            device().unplug();
        });
        QVERIFY(isSaving);
        QCOMPARE(shown.boxes.size(), 1);
        QVERIFY2(shown.boxes.first().startsWith(u"Serial Error: "_s) &&
                     shown.boxes.first().contains(u"write_some: Input/output error"_s),
                 qPrintable(shown.boxes.first()));
        QVERIFY(!shown.accepted);
        QCOMPARE(memory().flash.rateHz, std::uint16_t(100));
        m_bed.unplug("ttyUSB0"); // from the list of ports
        m_bed.replug("ttyUSB0");
        connectAgain();
    }

    // The device restarts with the earlier settings and stores them when the driver repeats the
    // command. So the dialog reports no failure.
    void powerLossWhileSaving()
    {
        device().change(
            [](sim::ImuSimulator &simulator) { simulator.faults().powerLossesWhileSaving = 1; });
        const Shown shown = save([] {});
        QCOMPARE(shown.boxes, QStringList());
        QVERIFY(shown.accepted);
        QCOMPARE(device().inspect(
                     [](const auto &d) { return d.options().faults.powerLossesWhileSaving; }),
                 0);
        QCOMPARE(memory().flash.rateHz, std::uint16_t(100));
        QCOMPARE(memory().active.rateHz, std::uint16_t(100));
        connectAgain();
    }

    // The write waits until the adapter takes bytes again.
    void outputStallsForAWhile()
    {
        const sim::Time start = device().inspect([](const auto &d) { return d.now(); });
        device().setLineOptions({.outputStallsAt = start, .outputStallTime = 2s});
        QVERIFY(waitForTheDevice());
        device().clearReceivedCommands();
        const Shown shown = choose(u"actionCalibration"_s);
        QCOMPARE(shown.boxes, QStringList());
        QVERIFY(shown.opened);
        QVERIFY(hasReceived(protocol::GET));
        connectAgain();
    }

    void outputStalls()
    {
        device().setLineOptions({.outputStallsAt = sim::Time(0), .outputStallTime = 24h});
        QVERIFY(waitForTheDevice());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Unhandled error: write_some: "_s));
        const Shown shown = choose(u"actionCalibration"_s);
        QCOMPARE(shown.boxes.size(), 1);
        QVERIFY2(shown.boxes.first().startsWith(u"Serial Error: "_s) &&
                     shown.boxes.first().contains(u"write_some: Connection timed out"_s),
                 qPrintable(shown.boxes.first()));
        QVERIFY(!shown.opened);
        device().setLineOptions({});
        connectAgain();
    }

    // The old name stays open until Disconnect, so the adapter gets another one.
    void returnsUnderAnotherName()
    {
        m_bed.unplug("ttyUSB0");
        m_bed.replugAs("ttyUSB0", "ttyUSB1");
        connectAgain(u"ttyUSB1"_s);
        m_fixture.disconnect();
        m_bed.unplug("ttyUSB1");
        m_bed.replugAs("ttyUSB1", "ttyUSB0");
        connectAgain();
    }
};

VORNIX_TEST_MAIN(TestMainWindowFaults, Application)
#include "test_main_window_faults.moc"
