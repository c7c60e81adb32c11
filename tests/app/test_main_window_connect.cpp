#include "tests/app/window_fixture.h"
#include "tests/fixtures/wait_limit.h"

using namespace app_test;

// The device runs at the first baud rate tried, which keeps each search short.
class TestMainWindowConnect : public QObject
{
    Q_OBJECT

    DeviceTestbed m_bed;
    WindowFixture m_fixture;
    sim::ImuSimulatorServer *m_device = nullptr;

    std::ptrdiff_t thresholdsReceived() const
    {
        const auto commands = m_device->receivedCommands();
        return std::count(commands.begin(), commands.end(), kSetZeroThreshold);
    }

private slots:
    void initTestCase()
    {
        m_device = &m_bed.plug("ttyUSB0", streamingAt(921600));
        QVERIFY(m_fixture.show());
        m_fixture.scan();
    }

    void connecting()
    {
        m_fixture.takeStatusHistory();
        m_fixture.connectTo(u"ttyUSB0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 921600));
        QVERIFY(m_fixture.takeStatusHistory().contains(tryingText(u"ttyUSB0"_s, 921600)));
        QVERIFY(m_fixture.deviceActionsEnabled());
    }

    void setsTheZeroThreshold()
    {
        QTRY_VERIFY(thresholdsReceived() >= 1);
        const float threshold = m_device->inspect([](const sim::ImuSimulator &simulator) {
            return simulator.memory().active.zeroThreshold;
        });
        QCOMPARE(threshold, 0.02F);
        // Connecting sends no other command to the device.
        const auto commands = m_device->receivedCommands();
        QCOMPARE(std::count(commands.begin(), commands.end(), kSetZeroThreshold),
                 static_cast<std::ptrdiff_t>(commands.size()));
    }

    void panelShowsStreamedValues()
    {
        QTRY_VERIFY(m_fixture.label(u"label_quat"_s)->text() != u"None"_s);
        const QString first = m_fixture.label(u"label_quat"_s)->text();
        QTRY_VERIFY(m_fixture.label(u"label_quat"_s)->text() != first);
        QCOMPARE(first.count(u", "_s), 3);
        // Values that the device does not stream keep their first text.
        QCOMPARE(m_fixture.label(u"label_euler"_s)->text(), u"None"_s);
        QCOMPARE(m_fixture.label(u"label_pressure"_s)->text(), u"None"_s);
        QTRY_VERIFY(m_fixture.label(u"label_datarate"_s)->text() != u"Receiving 0 Hz"_s);
    }

    void theStatusIsRewrittenEachSecond()
    {
        m_fixture.scan();
        QCOMPARE(m_fixture.status(), u"Scan complete: ttyUSB0..."_s);
        QTRY_COMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 921600));
    }

    // The search closes the port, opens it again and runs completely.
    void connectingWhileConnected()
    {
        const auto before = thresholdsReceived();
        m_fixture.connectTo(u"ttyUSB0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 921600));
        QTRY_VERIFY(thresholdsReceived() > before);
    }

    // The old port must be closed, because the driver opens no port while another one is open.
    void connectingToAnotherPort()
    {
        sim::ImuSimulatorServer &other = m_bed.plug("ttyACM0", streamingAt(921600));
        m_fixture.scan();
        m_fixture.connectTo(u"ttyACM0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyACM0"_s, 921600));
        QVERIFY(other.isOpenedByHost());
        QTRY_VERIFY(!m_device->isOpenedByHost());
        m_fixture.connectTo(u"ttyUSB0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 921600));
        QVERIFY(m_device->isOpenedByHost());
        QTRY_VERIFY(!other.isOpenedByHost());
    }

    void disconnecting()
    {
        m_fixture.disconnect();
        QCOMPARE(m_fixture.status(), u"Not connected"_s);
        QVERIFY(m_fixture.deviceActionsDisabled());
        QTRY_VERIFY(!m_device->isOpenedByHost());
        QTRY_COMPARE(m_fixture.label(u"label_datarate"_s)->text(), u"Receiving 0 Hz"_s);
        QCOMPARE(m_fixture.status(), u"Not connected"_s);
        QVERIFY(m_fixture.label(u"label_quat"_s)->text() != u"None"_s);
    }

    void connectsAgainAfterDisconnecting()
    {
        m_fixture.connectTo(u"ttyUSB0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, 921600));
        QVERIFY(m_fixture.deviceActionsEnabled());
        m_fixture.disconnect();
    }
};

VORNIX_TEST_MAIN(TestMainWindowConnect, Application)
#include "test_main_window_connect.moc"
