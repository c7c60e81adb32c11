// What a real device does and a kind one does not: flash writes and changes of the baud rate take
// time, its clock drifts, and it checks what the host sends.

#include <algorithm>
#include <bit>
#include <cmath>

#include <QTest>

#include "tests/sim/device/device_bed.h"
#include "tests/sim/host.h"

namespace {

const Bytes kSaved{0x53, 0x47, 0x08, 0x00, 0x0B, 0x01, 0x0C, 0x00};
const Bytes kNotSaved{0x53, 0x47, 0x08, 0x00, 0x0B, 0x00, 0x0B, 0x00};
const Bytes kWasReset{0x53, 0x47, 0x08, 0x00, 0x0A, 0x01, 0x0B, 0x00};
const Bytes kStarted{0x53, 0x47, 0x08, 0x00, 0x12, 0x01, 0x13, 0x00};
const Bytes kStopped{0x53, 0x47, 0x08, 0x00, 0x13, 0x01, 0x14, 0x00};

sim::DeviceOptions quiet()
{
    sim::DeviceOptions options;
    options.settings.outputs = 0;
    return options;
}

sim::DeviceOptions slowFlash(std::uint16_t outputs = 0)
{
    sim::DeviceOptions options = quiet();
    options.settings.outputs = outputs;
    options.flashTime = {200ms, 200ms};
    options.motion = sim::Motion::Tumble;
    return options;
}

// Sends the command and returns the time until the reply has left, in milliseconds.
int replyTime(DeviceBed &bed, const Bytes &command)
{
    bed.send(command);
    for (int ms = 0; ms < 1000; ++ms) {
        if (!bed.receive(1ms).empty())
            return ms;
    }
    return -1;
}

int samplesIn(const Bytes &bytes)
{
    int samples = 0;
    for (const Bytes &packet : Host::packets(bytes))
        samples += packet[1] == 'D';
    return samples;
}

} // namespace

class TestStrictDevice : public QObject
{
    Q_OBJECT

private slots:
    void flashWritesTakeTime_data();
    void flashWritesTakeTime();
    void flashTimesCoverTheirRange();
    void dropsCommandsWhileItWrites();
    void streamsNothingWhileItWrites();
    void streamsStaleSamplesWhileItWrites();
    void powerLossLeavesTheEarlierSettingsWhole();
    void powerLossAtAnyTimeLeavesOneOfTheTwo();
    void baudRateChangesLater();
    void refusesOtherOutputs_data();
    void refusesOtherOutputs();
    void clockDrifts_data();
    void clockDrifts();
    void invertsBits();
    void invertsBitsOfCommands();
};

void TestStrictDevice::flashWritesTakeTime_data()
{
    QTest::addColumn<Bytes>("before");
    QTest::addColumn<Bytes>("command");
    QTest::addColumn<Bytes>("reply");
    QTest::newRow("save") << Bytes{} << kSave << kSaved;
    QTest::newRow("factory reset") << Bytes{} << kReset << kWasReset;
    QTest::newRow("stored points") << kStart << kStop << kStopped;
}

void TestStrictDevice::flashWritesTakeTime()
{
    QFETCH(const Bytes, before);
    QFETCH(const Bytes, command);
    QFETCH(const Bytes, reply);
    DeviceBed bed(slowFlash());
    if (!before.empty())
        QCOMPARE(bed.ask(before), kStarted);
    bed.send(command);
    QCOMPARE(bed.receive(199ms), Bytes{});
    QCOMPARE(bed.receive(20ms), reply);
}

void TestStrictDevice::flashTimesCoverTheirRange()
{
    sim::DeviceOptions options = quiet();
    options.flashTime = {50ms, 400ms};
    DeviceBed bed(options);
    std::vector<int> times;
    for (int i = 0; i < 50; ++i)
        times.push_back(replyTime(bed, kSave));
    const auto [least, most] = std::minmax_element(times.begin(), times.end());
    QVERIFY2(*least >= 50 && *least < 100, qPrintable(QString::number(*least)));
    QVERIFY2(*most <= 401 && *most > 350, qPrintable(QString::number(*most)));
    // Another device with the same seed takes the same times.
    DeviceBed same(options);
    for (const int time : times)
        QCOMPARE(replyTime(same, kSave), time);
}

void TestStrictDevice::dropsCommandsWhileItWrites()
{
    DeviceBed bed(slowFlash());
    bed.send(kSave);
    QCOMPARE(bed.ask(kSetRate200), Bytes{});
    QCOMPARE(bed.receive(200ms), kSaved);
    QCOMPARE(bed.working().rateHz, std::uint16_t(100));
    QCOMPARE(bed.ask(kSetRate200), kRate200);
}

void TestStrictDevice::streamsNothingWhileItWrites()
{
    DeviceBed bed(slowFlash(0x04));
    bed.receive(0ms); // the samples since its start
    QCOMPARE(samplesIn(bed.receive(100ms)), 10);
    bed.send(kSave);
    bed.receive(10ms); // a sample may still be on the line
    QCOMPARE(bed.receive(185ms), Bytes{});
    QVERIFY(samplesIn(bed.receive(100ms)) >= 9);
}

void TestStrictDevice::streamsStaleSamplesWhileItWrites()
{
    sim::DeviceOptions options = slowFlash(0x04);
    options.staleSamplesDuringFlash = true;
    DeviceBed bed(options);
    bed.receive(105ms);
    bed.send(kSave);
    const std::vector<Bytes> packets = Host::packets(bed.receive(190ms));
    QVERIFY(packets.size() >= 18);
    for (const Bytes &packet : packets)
        QCOMPARE(packet, packets.front());
    const std::vector<Bytes> fresh = Host::packets(bed.receive(100ms));
    QVERIFY(fresh.back() != packets.front());
}

void TestStrictDevice::powerLossLeavesTheEarlierSettingsWhole()
{
    sim::DeviceOptions options = slowFlash();
    options.faults.powerLossesWhileSaving = 1;
    DeviceBed bed(options);
    const sim::DeviceSettings before = bed.working();
    QCOMPARE(bed.ask(kSetRate200), kRate200);
    bed.send(kSave);
    QCOMPARE(bed.receive(400ms), Bytes{}); // no reply at any time
    QVERIFY(bed.working() == before);
    QVERIFY(bed->memory().flash == before);
    // The next save works, and saves what the device holds now.
    bed.send(kSave);
    QCOMPARE(bed.receive(220ms), kSaved);
    QVERIFY(bed->memory().flash == before);
}

// The cable is pulled at each millisecond of a save of several changed settings.
void TestStrictDevice::powerLossAtAnyTimeLeavesOneOfTheTwo()
{
    for (auto time = 0ms; time <= 220ms; ++time) {
        DeviceBed bed(slowFlash());
        sim::DeviceSettings changed = bed.working();
        const sim::DeviceSettings before = changed;
        changed.rateHz = 500;
        changed.outputs = 0x20;
        changed.magnetic.bias = {1, 2, 3};
        bed->setSettings(changed);
        bed.send(kSave);
        bed.receive(time);
        bed.powerCycle();
        QVERIFY2(bed.working() == (time < 200ms ? before : changed),
                 qPrintable(QString::number(time.count())));
    }
}

void TestStrictDevice::baudRateChangesLater()
{
    sim::DeviceOptions options = quiet();
    options.settings.outputs = 0x04;
    options.baudChangeTime = {100ms, 100ms};
    DeviceBed bed(options);
    bed.send(kSetBaud921600);
    sim::Time replied{0};
    std::vector<std::uint32_t> bauds;
    for (int ms = 0; ms < 300; ++ms) {
        bed.pass(1ms);
        while (const auto sent = bed->transmit(bed.now())) {
            bauds.push_back(sent->baud);
            const bool isReply = sent->bytes[1] == 'G';
            replied = isReply ? sent->done : replied;
            // Nothing leaves between the reply and the new baud rate.
            QVERIFY(isReply || sent->baud == 115200 || sent->done >= replied + 100ms);
        }
        if (replied > sim::Time(0))
            QCOMPARE(bed->lineBaud(), bed.now() < replied + 100ms ? 115200U : 921600U);
    }
    QVERIFY(replied > sim::Time(0));
    QVERIFY(std::is_sorted(bauds.begin(), bauds.end()));
    QCOMPARE(bauds.back(), 921600U);
}

void TestStrictDevice::refusesOtherOutputs_data()
{
    QTest::addColumn<bool>("checks");
    QTest::addColumn<std::uint16_t>("outputs");
    QTest::addColumn<Bytes>("reply");
    QTest::addColumn<int>("differed");
    QTest::newRow("other outputs") << true << std::uint16_t(0x04) << kNotSaved << 1;
    QTest::newRow("its outputs") << true << std::uint16_t(0xFF) << kSaved << 0;
    QTest::newRow("unchecked") << false << std::uint16_t(0x04) << kSaved << 0;
}

// kSave carries 0xFF. The stream is off, so that only the reply arrives.
void TestStrictDevice::refusesOtherOutputs()
{
    QFETCH(const bool, checks);
    QFETCH(const std::uint16_t, outputs);
    QFETCH(const Bytes, reply);
    QFETCH(const int, differed);
    sim::DeviceOptions options = quiet();
    options.settings.outputs = outputs;
    options.settings.rateHz = 0;
    options.checksHostOutputs = checks;
    DeviceBed bed(options);
    QCOMPARE(bed.ask(kSave), reply);
    QCOMPARE(bed->counters().outputsDiffered, static_cast<std::uint64_t>(differed));
}

void TestStrictDevice::clockDrifts_data()
{
    QTest::addColumn<double>("ppm");
    QTest::addColumn<int>("samples");
    // In 100 s at 100 Hz; a drift of 1000 ppm makes ten samples.
    QTest::newRow("exact") << 0.0 << 10000;
    QTest::newRow("fast") << 1000.0 << 10010;
    QTest::newRow("slow") << -1000.0 << 9990;
}

void TestStrictDevice::clockDrifts()
{
    QFETCH(const double, ppm);
    QFETCH(const int, samples);
    sim::DeviceOptions options = quiet();
    options.settings.outputs = 0x04;
    options.clockDriftPpm = ppm;
    DeviceBed bed(options);
    bed.receive(0ms);
    const auto before = static_cast<int>(bed->counters().samplesSent);
    for (int s = 0; s < 100; ++s)
        bed.receive(1s);
    QVERIFY(std::abs(static_cast<int>(bed->counters().samplesSent) - before - samples) <= 1);
}

void TestStrictDevice::invertsBits()
{
    constexpr double kRate = 1e-3;
    sim::DeviceOptions options = quiet();
    options.settings.outputs = 0xFF;
    options.settings.baud = 1000000;
    DeviceBed clean(options);
    options.faults.bitErrors = kRate;
    DeviceBed noisy(options);
    const Bytes intact = clean.receive(20s);
    const Bytes found = noisy.receive(20s);
    QCOMPARE(found.size(), intact.size());
    int inverted = 0;
    for (std::size_t i = 0; i < found.size(); ++i)
        inverted += std::popcount(static_cast<unsigned>(found[i] ^ intact[i]));
    const double expected = kRate * 8 * static_cast<double>(intact.size());
    // Five standard deviations.
    QVERIFY2(std::abs(inverted - expected) < 5 * std::sqrt(expected),
             qPrintable(QString::number(inverted)));
}

void TestStrictDevice::invertsBitsOfCommands()
{
    sim::DeviceOptions options = quiet();
    options.faults.bitErrors = 1;
    DeviceBed bed(options);
    Bytes inverted = kSetRate200;
    for (unsigned char &byte : inverted)
        byte ^= 0xFF;
    bed.send(inverted);
    QCOMPARE(bed->receivedCommands(), std::vector<Bytes>{kSetRate200});
}

QTEST_APPLESS_MAIN(TestStrictDevice)
#include "test_strict_device.moc"
