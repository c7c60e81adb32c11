// Reading and writing the text of a recording.

#include <sstream>

#include <QTest>

#include "recording/recording.h"

using namespace std::chrono_literals;
using recording::RecordedEvent;
using Kind = recording::RecordedEvent::Kind;
using Bytes = std::vector<unsigned char>;

namespace {

const std::string kText = "vornix-recording 1\n"
                          "baud: 460800\n"
                          "rate: 400\n"
                          "outputs: 0x1ff\n"
                          "threshold: 0.125\n"
                          "motion: tumble\n"
                          "seed: 18446744073709551615\n"
                          "serial: 0xc0ffee\n"
                          "faults: --noise 3 --lose 0.01\n"
                          "\n"
                          "0 > 53430c00\n"
                          "1124 < 00ff\n"
                          "1124 ! 5344\n"
                          "1125 baud 57600\n"
                          "2000000 unplug\n"
                          "3000000 baud 460800\n"
                          "3000000 plug\n"
                          "3000001 < 53\n";

recording::Recording madeRecording()
{
    recording::Recording recording;
    recording.header = {.baud = 460800,
                        .rateHz = 400,
                        .outputs = 0x1FF,
                        .zeroThreshold = 0.125F,
                        .motion = "tumble",
                        .seed = 18446744073709551615U,
                        .serialNumber = 0xC0FFEE,
                        .faults = "--noise 3 --lose 0.01"};
    recording.events = {{0us, Kind::FromHost, {0x53, 0x43, 0x0C, 0x00}, 0},
                        {1124us, Kind::Delivered, {0x00, 0xFF}, 0},
                        {1124us, Kind::Undelivered, {0x53, 0x44}, 0},
                        {1125us, Kind::Baud, {}, 57600},
                        {2s, Kind::Unplug, {}, 0},
                        {3s, Kind::Baud, {}, 460800},
                        {3s, Kind::PlugIn, {}, 0},
                        {3000001us, Kind::Delivered, {0x53}, 0}};
    return recording;
}

std::string written(const recording::Recording &recording)
{
    std::ostringstream out;
    writeHeader(out, recording.header);
    for (const RecordedEvent &event : recording.events)
        writeEvent(out, event);
    return out.str();
}

} // namespace

class TestRecording : public QObject
{
    Q_OBJECT

private slots:
    void readsAndWrites();
    void readsComments();
    void readsTheShortestRecordings();
    void refuses_data();
    void refuses();
    void readsOrRefusesEveryTruncation();
};

void TestRecording::readsAndWrites()
{
    QVERIFY(recording::parseRecording(kText) == madeRecording());
    QCOMPARE(written(madeRecording()), kText);
}

void TestRecording::readsComments()
{
    std::string text = kText;
    text.insert(text.find("1124 < "), "# the device answers\n\n#\n");
    QVERIFY(recording::parseRecording(text) == madeRecording());
}

void TestRecording::readsTheShortestRecordings()
{
    for (const char *text : {"vornix-recording 1\nbaud: 0x1c200\n\n", "vornix-recording 1\nbaud: "
                                                                      "115200"}) {
        const recording::Recording recording = recording::parseRecording(text);
        QVERIFY(recording.header == recording::RecordingHeader{});
        QVERIFY(recording.events.empty());
    }
    // A file without the end of its last line.
    QCOMPARE(recording::parseRecording("vornix-recording 1\nbaud: 1\n\n7 < 00").events.size(),
             std::size_t(1));
}

void TestRecording::refuses_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("problem");
    const auto whole = [](const char *problem, const QByteArray &text) {
        QTest::newRow(problem) << text << QString::fromUtf8(problem);
    };
    const auto header = [&](const char *problem, const char *lines) {
        whole(problem, QByteArray("vornix-recording 1\n") + lines);
    };
    const auto body = [&](const char *problem, const char *lines) {
        header(problem, (QByteArray("baud: 9600\n\n") + lines).constData());
    };
    whole("line 1: not a recording", "");
    whole("line 1: not a recording", "\nvornix-recording 1\nbaud: 9600\n\n");
    whole("line 1: not a recording", "vornix-recording");
    whole("line 1: version 2 is not known", "vornix-recording 2\nbaud: 9600\n\n");
    whole("line 1: version 1? is not known", "vornix-recording 1\r\nbaud: 9600\r\n\r\n");
    header("line 2: the header names no baud", "\n");
    header("line 2: no \"key: value\", and no empty line after the header", "0 < 00\n");
    header("line 2: bad baud: 0", "baud: 0\n\n");
    header("line 2: bad baud: fast", "baud: fast\n\n");
    header("line 2: bad baud: 4294967296", "baud: 4294967296\n\n");
    header("line 2: bad baud: -1", "baud: -1\n\n");
    header("line 2: bad baud: ", "baud: \n\n");
    header("line 2: bad baud: 0x", "baud: 0x\n\n");
    header("line 2: unknown key speed", "speed: 1\n\n");
    header("line 2: unknown key ???", "\x01\xFF\x7F: 1\n\n");
    header("line 3: baud is there twice", "baud: 1\nbaud: 1\n\n");
    header("line 3: bad rate: 65536", "baud: 1\nrate: 65536\n\n");
    header("line 3: bad outputs: 0x1FG", "baud: 1\noutputs: 0x1FG\n\n");
    header("line 3: bad threshold: nan", "baud: 1\nthreshold: nan\n\n");
    header("line 3: bad seed: 1 ", "baud: 1\nseed: 1 \n\n");
    header("line 3: bad serial: ", "baud: 1\nserial: \n\n");
    body("line 4: bad time: <", "< 00\n");
    body("line 4: bad time: ", " 0 < 00\n");
    body("line 4: bad time: -1", "-1 < 00\n");
    body("line 4: bad time: 0x10", "0x10 < 00\n");
    body("line 4: bad time: 007", "007 < 00\n");
    body("line 4: bad time: 2678400000001", "2678400000001 < 00\n");
    body("line 4: bad time: 99999999999999999999", "99999999999999999999 < 00\n");
    body("line 5: earlier than the line before", "5 < 00\n4 < 00\n");
    body("line 4: unknown event: ", "0\n");
    body("line 4: unknown event: <00", "0 <00\n");
    body("line 4: unknown event: ", "0  < 00\n");
    body("line 4: no bytes", "0 <\n");
    body("line 4: no bytes", "0 ! \n");
    body("line 4: half a byte", "0 > 000\n");
    body("line 4: bad hex digit: A", "0 < 0A\n");
    body("line 4: bad hex digit: ?", "0 < 00\t0\n");
    body("line 6: half a byte", "# one\n\n0 < 00 \n");
    body("line 4: bad baud: ", "0 baud\n");
    body("line 4: bad baud: 0", "0 baud 0\n");
    body("line 4: nothing may follow: now", "0 unplug now\n");
    body("line 4: the cable is in", "0 plug\n");
    body("line 5: the cable is out", "0 unplug\n1 unplug\n");
    body("line 5: the cable is out", "0 unplug\n1 < 00\n");
    body("line 5: the cable is out", "0 unplug\n1 > 00\n");
    body("line 6: the cable is in", "0 unplug\n1 plug\n2 plug\n");
    body("line 4: unknown event: aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa...",
         "0 aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\n");
}

void TestRecording::refuses()
{
    QFETCH(const QByteArray, text);
    QFETCH(const QString, problem);
    try {
        recording::parseRecording({text.constData(), static_cast<std::size_t>(text.size())});
        QFAIL("taken for a recording");
    } catch (const recording::RecordingError &error) {
        QCOMPARE(QString::fromUtf8(error.what()), problem);
        QVERIFY(problem.startsWith(QStringLiteral("line %1: ").arg(error.line())));
    }
}

// A truncated file is read up to its end or refused.
void TestRecording::readsOrRefusesEveryTruncation()
{
    int refused = 0;
    for (std::size_t size = 0; size < kText.size(); ++size) {
        try {
            const auto recording =
                recording::parseRecording(std::string_view(kText).substr(0, size));
            QVERIFY(recording.events.size() <= madeRecording().events.size());
        } catch (const recording::RecordingError &) {
            ++refused;
        }
    }
    QVERIFY(refused > 30);
    QVERIFY(refused < static_cast<int>(kText.size()));
}

QTEST_APPLESS_MAIN(TestRecording)
#include "test_recording.moc"
