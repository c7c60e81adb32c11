#include "tests/app/window_fixture.h"

using namespace app_test;

// Searches that do not go straight to their end.
class TestMainWindowSearch : public QObject
{
    Q_OBJECT

    sim::UsbTestbed m_bed;
    WindowFixture m_fixture;

private slots:
    void initTestCase()
    {
        m_bed.plug("ttyUSB0");
        QVERIFY(m_fixture.show());
        m_fixture.scan();
    }

    // The port is closed at once, the search goes on with the next rate.
    void disconnectDuringASearch()
    {
        m_bed.device("ttyUSB0").change(
            [](sim::Device &unit) { unit.setSettings(streamingAt(460800).settings); });
        QString statusAfter;
        bool disabledAfter = false;
        bool trying = false;
        QTimer user;
        connect(&user, &QTimer::timeout, this, [&] {
            if (m_fixture.status() != tryingText(u"ttyUSB0"_s, 921600) ||
                !m_bed.device("ttyUSB0").isOpenedByHost())
                return;
            user.stop();
            trying = true;
            m_fixture.disconnect();
            statusAfter = m_fixture.status();
            disabledAfter = m_fixture.deviceActionsDisabled();
        });
        user.start(20);
        m_fixture.connectTo(u"ttyUSB0"_s);
        QVERIFY(trying);
        QCOMPARE(statusAfter, u"Not connected"_s);
        QVERIFY(disabledAfter);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 460800));
        QVERIFY(m_fixture.deviceActionsEnabled());
        m_fixture.disconnect();
    }

    // Everything but quaternions, at the first rate tried.
    void aDeviceWithoutQuaternionsIsNotFound()
    {
        m_bed.device("ttyUSB0").change([](sim::Device &unit) {
            sim::Settings settings = streamingAt(921600).settings;
            settings.outputs = 0x00FF & ~protocol::OUT_QUATERNION;
            unit.setSettings(settings);
        });
        m_fixture.takeStatusHistory();
        m_fixture.connectTo(u"ttyUSB0"_s);

        const QStringList shown = m_fixture.takeStatusHistory();
        QStringList expected;
        for (const int baud : {921600, 460800, 230400, 115200, 57600})
            expected.append(tryingText(u"ttyUSB0"_s, baud));
        QCOMPARE(shown.filter(u"Trying"_s), expected);
        QVERIFY(shown.contains(u"Connection failed (no valid baud found)"_s));
        QVERIFY(m_fixture.deviceActionsDisabled());
        // The panel showed what did come in, while the rate stayed at nothing.
        QVERIFY(m_fixture.label(u"label_euler"_s)->text() != u"None"_s);
        QCOMPARE(m_fixture.label(u"label_datarate"_s)->text(), u"Receiving 0 Hz"_s);
        QVERIFY(!m_bed.device("ttyUSB0").isOpenedByHost());
        QTRY_COMPARE(m_fixture.status(), u"Not connected"_s);
    }
};

VORNIX_TEST_MAIN(TestMainWindowSearch, Application)
#include "test_mainwindow_search.moc"
