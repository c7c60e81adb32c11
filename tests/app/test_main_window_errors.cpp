#include <QRegularExpression>
#include <QStatusBar>

#include "dialogs/magneto_calibration_dialog.h"
#include "tests/app/window_fixture.h"
#include "tests/fixtures/box_watcher.h"
#include "tests/fixtures/wait_limit.h"

using namespace app_test;

// Port failures: during a search they are reported beside the status, otherwise in a message box.
class TestMainWindowErrors : public QObject
{
    Q_OBJECT

    DeviceTestbed m_bed;
    WindowFixture m_fixture;

    QLabel *statusLabel() const { return m_fixture.label(u"label_status"_s); }

    // Chooses the action and returns the message boxes that it showed.
    QList<ShownBox> choose(const QString &action)
    {
        const BoxWatcher boxes;
        m_fixture.choose(action);
        return boxes.shown;
    }

    void connectToAPortThatIsGone()
    {
        m_bed.replug("ttyUSB0");
        m_fixture.scan();
        m_bed.unplug("ttyUSB0");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Unhandled error: open: "_s));
        m_fixture.connectTo(u"ttyUSB0"_s);
        QCOMPARE(m_fixture.status(), tryingText(u"ttyUSB0"_s, 921600));
    }

private slots:
    void initTestCase()
    {
        m_bed.plug("ttyUSB0", streamingAt(921600));
        m_bed.plug("ttyACM0", streamingAt(921600));
        QVERIFY(m_fixture.show());
        m_fixture.scan();
    }

    void cleanup()
    {
        QVERIFY(m_fixture.window()->statusBar()->currentMessage().isEmpty());
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void aFailedSearchIsExplainedBesideTheStatus()
    {
        m_bed.unplug("ttyUSB0");
        connectToAPortThatIsGone();
        const QString report = statusLabel()->toolTip();
        QVERIFY2(report.contains(u"open: No such file or directory"_s), qPrintable(report));
        QVERIFY2(report.contains(u"plug the device in"_s), qPrintable(report));
        QCOMPARE(statusLabel()->accessibleDescription(), report);
    }

    // Without Disconnect the status keeps naming the failed port.
    void disconnectClearsTheReport()
    {
        m_fixture.disconnect();
        QCOMPARE(m_fixture.status(), u"Not connected"_s);
        QVERIFY(statusLabel()->toolTip().isEmpty());
        QVERIFY(statusLabel()->accessibleDescription().isEmpty());
        statusLabel()->clear();
        QTRY_COMPARE(m_fixture.status(), u"Not connected"_s);
        QVERIFY(m_fixture.deviceActionsDisabled());
    }

    void theNextAttemptClearsTheReport()
    {
        connectToAPortThatIsGone();
        QVERIFY(!statusLabel()->toolTip().isEmpty());
        m_fixture.connectTo(u"ttyACM0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyACM0"_s, 921600));
        QVERIFY(statusLabel()->toolTip().isEmpty());
        QVERIFY(statusLabel()->accessibleDescription().isEmpty());
    }

    // The driver does not notice a pulled cable, so the window stays connected until Disconnect.
    void aPulledCableIsReportedInABox()
    {
        m_bed.unplug("ttyACM0");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Unhandled error: write_some: "_s));
        const QList<ShownBox> boxes = choose(u"actionCalibration"_s);
        QCOMPARE(boxes.size(), 1);
        const ShownBox &box = boxes.first();
        QCOMPARE(box.icon, QMessageBox::Critical);
        QCOMPARE(box.title, u"Serial Error"_s);
        QVERIFY2(box.text.contains(u"write_some: Input/output error"_s), qPrintable(box.text));
        QVERIFY2(box.text.contains(u"choose Disconnect"_s), qPrintable(box.text));
        QVERIFY(!box.busyPointer);
        QVERIFY(statusLabel()->toolTip().isEmpty());
        QVERIFY(m_fixture.deviceActionsEnabled());
        statusLabel()->clear();
        QTRY_COMPARE(m_fixture.status(), connectedText(u"ttyACM0"_s, 921600));
    }

    void afterDisconnectItWorksAgain()
    {
        const QList<ShownBox> boxes = choose(u"actionDisconnect_4"_s);
        QCOMPARE(boxes.size(), 0);
        QCOMPARE(m_fixture.status(), u"Not connected"_s);
        m_bed.replug("ttyACM0");
        m_fixture.scan();
        m_fixture.connectTo(u"ttyACM0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyACM0"_s, 921600));
        m_fixture.disconnect();
    }
};

VORNIX_TEST_MAIN(TestMainWindowErrors, Application)
#include "test_main_window_errors.moc"
