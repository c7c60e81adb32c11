#include "tests/app/window_fixture.h"
#include "tests/fixtures/wait_limit.h"

using namespace app_test;

// Finds a device at each baud rate after the first. Each takes some seconds of rejected trials, so
// this file is built into several programs; VORNIX_TEST_RATES lists the baud rates of one program.
class TestMainWindowRates : public QObject
{
    Q_OBJECT

    DeviceTestbed m_bed;
    WindowFixture m_fixture;

private slots:
    void initTestCase()
    {
        m_bed.plug("ttyUSB0");
        QVERIFY(m_fixture.show());
        m_fixture.scan();
    }

    void isFoundAfterTheFasterRates_data()
    {
        QTest::addColumn<int>("baud");
        for (const int baud : {VORNIX_TEST_RATES})
            QTest::addRow("%d", baud) << baud;
    }

    void isFoundAfterTheFasterRates()
    {
        QFETCH(int, baud);
        sim::ImuSimulatorServer &server = m_bed.device("ttyUSB0");
        server.change([&](sim::ImuSimulator &device) {
            device.setSettings(streamingAt(static_cast<std::uint32_t>(baud)).settings);
        });
        server.clearReceivedCommands();
        m_fixture.takeStatusHistory();

        m_fixture.connectTo(u"ttyUSB0"_s);
        QCOMPARE(m_fixture.status(), connectedText(u"ttyUSB0"_s, baud));
        QStringList expected;
        for (const int tried : {921600, 460800, 230400, 115200, 57600}) {
            expected.append(tryingText(u"ttyUSB0"_s, tried));
            if (tried == baud)
                break;
        }
        QCOMPARE(m_fixture.takeStatusHistory().filter(u"Trying"_s), expected);
        QTRY_VERIFY(!server.receivedCommands().empty());
        QCOMPARE(server.receivedCommands().front(), kSetZeroThreshold);
        m_fixture.disconnect();
    }
};

VORNIX_TEST_MAIN(TestMainWindowRates, Application)
#include "test_main_window_rates.moc"
