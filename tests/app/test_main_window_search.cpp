#include "tests/app/window_fixture.h"
#include "tests/fixtures/box_watcher.h"
#include "tests/fixtures/wait_limit.h"

using namespace app_test;

// Searches that are interrupted or redirected.
class TestMainWindowSearch : public QObject
{
    Q_OBJECT

    DeviceTestbed m_bed;
    WindowFixture m_fixture;

    void deviceAt(std::uint32_t baud)
    {
        m_bed.device("ttyUSB0").change([=](sim::ImuSimulator &simulator) {
            simulator.setSettings(streamingAt(baud).settings);
        });
    }

    // Connects to that port and calls the action once, while the port is open at the first baud
    // rate. Returns when the search is over; false if the action was never called. Repeats a search
    // that finds nothing: on a busy machine a sample can arrive after the time for its baud rate.
    bool connectAndDuringIt(const QString &port, const std::function<void()> &act)
    {
        bool acted = false;
        for (int attempt = 1; attempt <= 5; ++attempt) {
            acted = connectOnce(port, act);
            if (!m_fixture.searchFailed())
                break;
        }
        return acted;
    }

    bool connectOnce(const QString &port, const std::function<void()> &act)
    {
        bool acted = false;
        QTimer user;
        connect(&user, &QTimer::timeout, this, [&] {
            if (acted || m_fixture.status() != tryingText(port, 921600) ||
                !m_bed.device(port.toStdString()).isOpenedByHost())
                return;
            acted = true;
            user.stop();
            act();
        });
        user.start(20);
        m_fixture.takeStatusHistory();
        m_fixture.connectTo(port);
        return acted;
    }

    void verifyNothingIsConnected()
    {
        QCOMPARE(m_fixture.status(), u"Not connected"_s);
        QVERIFY(m_fixture.deviceActionsDisabled());
        QTRY_VERIFY(!m_bed.device("ttyUSB0").isOpenedByHost());
        QVERIFY(m_fixture.waitForTwoRates());
        QCOMPARE(m_fixture.status(), u"Not connected"_s);
        QVERIFY(m_fixture.deviceActionsDisabled());
    }

private slots:
    void initTestCase()
    {
        m_bed.plug("ttyUSB0");
        m_bed.plug("ttyACM0", streamingAt(921600));
        QVERIFY(m_fixture.show());
        m_fixture.scan();
    }

    void disconnectEndsASearch()
    {
        deviceAt(460800);
        QString statusAfter;
        QVERIFY(connectAndDuringIt(u"ttyUSB0"_s, [&] {
            m_fixture.disconnect();
            statusAfter = m_fixture.status();
        }));
        QCOMPARE(statusAfter, u"Not connected"_s);
        verifyNothingIsConnected();
        QVERIFY(!m_fixture.takeStatusHistory().contains(tryingText(u"ttyUSB0"_s, 460800)));
    }

    void closingTheWindowEndsASearch_data()
    {
        QTest::addColumn<bool>("byShortcut");
        QTest::newRow("close button") << false;
        QTest::newRow("Ctrl+Q") << true;
    }

    void closingTheWindowEndsASearch()
    {
        QFETCH(bool, byShortcut);
        deviceAt(460800);
        m_fixture.window()->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_fixture.window()));
        QVERIFY(connectAndDuringIt(u"ttyUSB0"_s, [&] {
            if (byShortcut)
                QTest::keyClick(m_fixture.window(), Qt::Key_Q, Qt::ControlModifier);
            else
                m_fixture.window()->close();
        }));
        QVERIFY(!m_fixture.window()->isVisible());
        QVERIFY(!m_fixture.takeStatusHistory().contains(tryingText(u"ttyUSB0"_s, 460800)));
        QTRY_VERIFY(!m_bed.device("ttyUSB0").isOpenedByHost());
        m_fixture.window()->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_fixture.window()));
    }

    // The first search never continues; otherwise it would try the lower baud rates.
    void theLatestChoiceWins()
    {
        deviceAt(57600);
        QVERIFY(
            connectAndDuringIt(u"ttyUSB0"_s, [&] { m_fixture.chooseAnotherPort(u"ttyACM0"_s); }));
        QCOMPARE(m_fixture.status(), connectedText(u"ttyACM0"_s, 921600));
        QVERIFY(m_bed.device("ttyACM0").isOpenedByHost());
        QTRY_VERIFY(!m_bed.device("ttyUSB0").isOpenedByHost());
        QCOMPARE(m_fixture.takeStatusHistory().filter(u"ttyUSB0"_s),
                 QStringList{tryingText(u"ttyUSB0"_s, 921600)});
        QTRY_VERIFY(m_fixture.label(u"label_datarate"_s)->text() != u"Receiving 0 Hz"_s);
        m_fixture.disconnect();
    }

    // The port is open at the baud rate that the status names: samples arrive.
    void theSamePortChosenAgain()
    {
        deviceAt(460800);
        QVERIFY(
            connectAndDuringIt(u"ttyUSB0"_s, [&] { m_fixture.chooseAnotherPort(u"ttyUSB0"_s); }));
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 460800));
        QVERIFY(m_fixture.waitForTwoRates());
        QVERIFY(m_fixture.label(u"label_datarate"_s)->text() != u"Receiving 0 Hz"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 460800));
        m_fixture.disconnect();
    }

    void disconnectAlsoEndsTheLatestChoice()
    {
        deviceAt(460800);
        QVERIFY(connectAndDuringIt(u"ttyUSB0"_s, [&] {
            m_fixture.chooseAnotherPort(u"ttyACM0"_s);
            m_fixture.disconnect();
        }));
        verifyNothingIsConnected();
        QVERIFY(!m_bed.device("ttyACM0").isOpenedByHost());
    }

    void aScanDoesNotEndASearch()
    {
        deviceAt(460800);
        QString statusAfter;
        QVERIFY(connectAndDuringIt(u"ttyUSB0"_s, [&] {
            m_fixture.scan();
            statusAfter = m_fixture.status();
        }));
        QVERIFY2(statusAfter.startsWith(u"Scan complete: "_s), qPrintable(statusAfter));
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 460800));
        m_fixture.disconnect();
    }

    // The old port is closed before the search begins, so a device dialog has no device to query.
    void duringASearchNothingIsConnected()
    {
        m_fixture.connectTo(u"ttyACM0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyACM0"_s, 921600));
        deviceAt(460800);
        QList<ShownBox> shown;
        QVERIFY(connectAndDuringIt(u"ttyUSB0"_s, [&] {
            const BoxWatcher boxes;
            m_fixture.action(u"actionShowDeviceInfo_2"_s)->trigger();
            shown = boxes.shown;
        }));
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown.first().text, u"Please connect to a device first."_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 460800));
        m_fixture.disconnect();
    }

    // All outputs except quaternions, at the first baud rate tried.
    void aDeviceWithoutQuaternionsIsNotFound()
    {
        m_bed.device("ttyUSB0").change([](sim::ImuSimulator &simulator) {
            sim::DeviceSettings settings = streamingAt(921600).settings;
            settings.outputs = 0x00FF & ~protocol::OUT_QUATERNION;
            simulator.setSettings(settings);
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
        // The panel showed the other values, while the rate stayed 0.
        QVERIFY(m_fixture.label(u"label_euler"_s)->text() != u"None"_s);
        QCOMPARE(m_fixture.label(u"label_datarate"_s)->text(), u"Receiving 0 Hz"_s);
        QVERIFY(!m_bed.device("ttyUSB0").isOpenedByHost());
        QTRY_COMPARE(m_fixture.status(), u"Not connected"_s);
    }
};

VORNIX_TEST_MAIN(TestMainWindowSearch, Application)
#include "test_main_window_search.moc"
