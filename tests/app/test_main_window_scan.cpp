#include <QRegularExpression>

#include "tests/app/window_fixture.h"
#include "tests/fixtures/wait_limit.h"

using namespace app_test;

class TestMainWindowScan : public QObject
{
    Q_OBJECT

    DeviceTestbed m_bed;
    WindowFixture m_fixture;

private slots:
    void initTestCase()
    {
        m_bed.plug("ttyS0"); // a serial port, but not one of a USB adapter
        QVERIFY(m_fixture.show());
    }

    void withoutAdaptersThereIsNothingToConnect()
    {
        m_fixture.scan();
        QCOMPARE(m_fixture.status(), u"No USB serial ports found!"_s);
        const auto chooser = m_fixture.connectTo(u"ttyS0"_s);
        QVERIFY(!chooser.seen);
        QVERIFY(m_fixture.takeStatusHistory().contains(
            u"Please run Scan first, no ports available."_s));
        // The status written once a second replaces this text.
        QTRY_COMPARE(m_fixture.status(), u"Not connected"_s);
    }

    void adaptersAreListedInTheSystemsOrder()
    {
        m_bed.plug("ttyUSB0");
        m_bed.plug("ttyACM0");
        m_fixture.scan();
        const QString status = m_fixture.status();
        QVERIFY2(status == u"Scan complete: ttyUSB0, ttyACM0..."_s ||
                     status == u"Scan complete: ttyACM0, ttyUSB0..."_s,
                 qPrintable(status));
    }

    void cancellingChangesNothing()
    {
        m_fixture.scan();
        const QString scanned = m_fixture.status();
        const auto chooser = m_fixture.connectTo({});
        QVERIFY(chooser.seen);
        QCOMPARE(chooser.title, u"Select Serial Port"_s);
        QCOMPARE(chooser.label, u"Available Ports:"_s);
        QCOMPARE(scanned, u"Scan complete: %1..."_s.arg(chooser.items.join(u", "_s)));
        QCOMPARE(chooser.current, chooser.items.first());
        QVERIFY(!chooser.editable);
        QCOMPARE(chooser.parent, m_fixture.window());

        QVERIFY(m_fixture.deviceActionsEnabled()); // unchanged
        QVERIFY(m_fixture.takeStatusHistory().contains(u"Connection cancelled"_s));
        QTRY_COMPARE(m_fixture.status(), u"Not connected"_s);
    }

    // The program keeps running. The status keeps naming the failed port, also after the next rate,
    // because the exception left the search before its end.
    void missingPortKeepsItsStatus()
    {
        m_fixture.scan();
        m_bed.unplug("ttyUSB0");
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(u"^Unhandled error: open: .*plugged in"_s));
        m_fixture.connectTo(u"ttyUSB0"_s);
        QCOMPARE(m_fixture.status(), tryingText(u"ttyUSB0"_s, 921600));

        m_fixture.label(u"label_datarate"_s)->clear();
        QTRY_COMPARE(m_fixture.label(u"label_datarate"_s)->text(), u"Receiving 0 Hz"_s);
        QCOMPARE(m_fixture.status(), tryingText(u"ttyUSB0"_s, 921600));
        QVERIFY(m_fixture.deviceActionsEnabled());
    }

    void nextConnectionWorks()
    {
        m_bed.device("ttyACM0").change([](sim::ImuSimulator &simulator) {
            simulator.setSettings(streamingAt(921600).settings);
        });
        m_fixture.scan();
        QCOMPARE(m_fixture.status(), u"Scan complete: ttyACM0..."_s);
        m_fixture.connectTo(u"ttyACM0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyACM0"_s, 921600));
        // The status shows the connection again.
        m_fixture.label(u"label_status"_s)->clear();
        QTRY_COMPARE(m_fixture.status(), connectedText(u"ttyACM0"_s, 921600));
    }
};

VORNIX_TEST_MAIN(TestMainWindowScan, Application)
#include "test_main_window_scan.moc"
