// The recorder writes what passes the line of the simulated device.

#include <sstream>

#include <QTest>

#include "recording/recording.h"
#include "sim/recording/recorder.h"

using namespace std::chrono_literals;
using Bytes = std::vector<unsigned char>;

namespace {

sim::Transmission transmission(Bytes bytes, std::uint32_t baud, sim::Time done)
{
    return {.bytes = std::move(bytes), .baud = baud, .packets = 1, .done = done};
}

} // namespace

class TestRecorder : public QObject
{
    Q_OBJECT

private slots:
    void waitsForAHost();
    void writesEveryEventAfterTheHostOpens();
    void keepsTheOrder();
};

void TestRecorder::waitsForAHost()
{
    std::ostringstream out;
    sim::Recorder recorder(out, {.baud = 9600});
    const std::string header = out.str();
    QVERIFY(recording::parseRecording(header).header == recording::RecordingHeader{.baud = 9600});
    recorder.sent(transmission({1}, 9600, 1s), false);
    recorder.received(Bytes{2}, 2s);
    recorder.unplugged(3s);
    recorder.pluggedIn(4s);
    QCOMPARE(out.str(), header);
    recorder.hostAttached(5s);
    recorder.received(Bytes{2}, 5s);
    QCOMPARE(out.str(), header + "0 > 02\n");
}

void TestRecorder::writesEveryEventAfterTheHostOpens()
{
    std::ostringstream out;
    sim::Recorder recorder(out, {.baud = 9600});
    const std::size_t header = out.str().size();
    recorder.hostAttached(1s);
    recorder.sent(transmission({0xAB, 0xCD}, 9600, 1s + 1500ns), true);
    recorder.hostAttached(2s);
    recorder.sent(transmission({0xEF}, 19200, 2s), false);
    recorder.sent(transmission({}, 9600, 2s), true);
    recorder.sent(transmission({0x01}, 19200, 2s), true);
    recorder.unplugged(3s);
    recorder.pluggedIn(4s);
    recorder.sent(transmission({0x02}, 9600, 5s), true);
    QCOMPARE(out.str().substr(header), std::string("1 < abcd\n"
                                                   "1000000 baud 19200\n"
                                                   "1000000 ! ef\n"
                                                   "1000000 < 01\n"
                                                   "2000000 unplug\n"
                                                   "3000000 plug\n"
                                                   "4000000 baud 9600\n"
                                                   "4000000 < 02\n"));
    QCOMPARE(recording::parseRecording(out.str()).events.size(), std::size_t(8));
}

void TestRecorder::keepsTheOrder()
{
    std::ostringstream out;
    sim::Recorder recorder(out, {});
    const std::size_t header = out.str().size();
    recorder.hostAttached(1s);
    recorder.received(Bytes{1}, 2s);
    recorder.sent(transmission({2}, 115200, 1900ms), true); // reported after later bytes
    QCOMPARE(out.str().substr(header), std::string("1000000 > 01\n1000000 < 02\n"));
}

QTEST_APPLESS_MAIN(TestRecorder)
#include "test_recorder.moc"
