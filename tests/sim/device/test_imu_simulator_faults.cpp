// Faults of the simulated device on request, and its settings across a power cycle.

#include <QTest>

#include "sim/device/imu_simulator.h"
#include "tests/sim/device/device_bed.h"
#include "tests/sim/host.h"

using namespace std::chrono_literals;
class TestImuSimulatorFaults : public QObject
{
    Q_OBJECT

private slots:
    void powerCycleRestoresTheSavedSettings();
    void factoryResetTakesEffectAtThePowerCycle();
    void dropsCommandsDuringStartup();
    void changesBaudRateAfterTheReply();
    void isSilentDuringTheBaudChangeDelay();
    void usesTheFallbackBaudRate();
    void dropsInputAtAnotherBaudRate();

    void silent();
    void noReply();
    void wrongEcho();
    void refuse();
    void ignoreFirst();
    void lateReply();
    void otherPayload();
    void splitReply();
    void brokenReply();
    void joinedReply();
    void corruptChecksum();
    void noiseBetweenPackets();
    void lostBytes();

    void collectsPointsWhileItTurns();
    void collectsOnePointAtRest();
    void streamsAtItsRate_data();
    void streamsAtItsRate();
};

void TestImuSimulatorFaults::powerCycleRestoresTheSavedSettings()
{
    DeviceBed bed;
    QCOMPARE(bed.ask(kSetRate200), kRate200);
    bed.powerCycle();
    QCOMPARE(bed.working().rateHz, std::uint16_t(100));
    bed.ask(kSetRate200);
    bed.ask(kSave);
    bed.powerCycle();
    QCOMPARE(bed.working().rateHz, std::uint16_t(200));
}

void TestImuSimulatorFaults::factoryResetTakesEffectAtThePowerCycle()
{
    DeviceBed bed;
    bed.ask(kSetRate200);
    bed.ask(kSave);
    QCOMPARE(bed.ask(kReset), (Bytes{0x53, 0x47, 0x08, 0x00, 0x0A, 0x01, 0x0B, 0x00}));
    QCOMPARE(bed.working().rateHz, std::uint16_t(200));
    bed.powerCycle();
    QCOMPARE(bed.working(), sim::DeviceSettings{});
}

void TestImuSimulatorFaults::dropsCommandsDuringStartup()
{
    DeviceBed bed;
    bed->powerCycle(1s);
    QVERIFY(bed.ask(kSetRate200).empty());
    QVERIFY(bed->receivedCommands().empty());
    bed.receive(60ms);
    QCOMPARE(bed.ask(kSetRate200), kRate200);
}

void TestImuSimulatorFaults::changesBaudRateAfterTheReply()
{
    DeviceBed bed({}, 0xFF);
    bed.send(kSetBaud921600);
    QCOMPARE(bed->lineBaud(), 115200U);
    bool answered = false;
    for (int i = 0; i < 100 && !answered; ++i) {
        bed->advance(1s + i * 1ms);
        while (const auto out = bed->transmit(1s + i * 1ms)) {
            QCOMPARE(out->baud, 115200U);
            answered = answered || out->bytes[1] == 'G';
        }
    }
    QVERIFY(answered);
    const auto packet = bed->transmit(2s);
    QVERIFY(packet);
    QCOMPARE(packet->baud, 921600U);
    QCOMPARE(bed->lineBaud(), 921600U);
}

void TestImuSimulatorFaults::isSilentDuringTheBaudChangeDelay()
{
    sim::Faults faults;
    faults.baudChangeDelay = 3s;
    DeviceBed bed(faults, 0xFF);
    bed.receive(1s);
    bed.send(kSetBaud921600);
    bed.receive(100ms);
    QVERIFY(bed.receive(2800ms).empty());
    QVERIFY(bed.ask(kSetRate200).empty());
    QVERIFY(!bed.receive(200ms).empty());
    QCOMPARE(bed->lineBaud(), 921600U);
}

void TestImuSimulatorFaults::usesTheFallbackBaudRate()
{
    sim::DeviceOptions options;
    options.settings.baud = 1500000;
    options.settings.rateHz = 400;
    options.fallbackBaud = 460800;
    options.settings.outputs = 0;
    sim::ImuSimulator device(options);
    QCOMPARE(device.lineBaud(), 460800U);
    device.receive(kGet, 460800, 1s);
    const auto answer = device.transmit(2s);
    QVERIFY(answer);
    QCOMPARE(protocol::readField<std::uint32_t>(answer->bytes.data() + 5), 1500000U);
    QCOMPARE(protocol::readField<std::uint16_t>(answer->bytes.data() + 10), std::uint16_t(400));
}

void TestImuSimulatorFaults::dropsInputAtAnotherBaudRate()
{
    DeviceBed bed;
    bed->receive(kSetRate200, 921600, 1s);
    QVERIFY(bed.receive(1s).empty());
    QVERIFY(bed->receivedCommands().empty());
    QCOMPARE(bed.working().rateHz, std::uint16_t(100));
}

void TestImuSimulatorFaults::silent()
{
    sim::Faults faults;
    faults.silent = true;
    DeviceBed bed(faults, 0xFF);
    QVERIFY(bed.ask(kSetRate200, 1s).empty());
    QCOMPARE(bed.working().rateHz, std::uint16_t(200));
    bed->faults().silent = false;
    QVERIFY(!bed.receive(1s).empty());
}

void TestImuSimulatorFaults::noReply()
{
    sim::Faults faults;
    faults.noReply = {protocol::DATA_RATE};
    DeviceBed bed(faults);
    QVERIFY(bed.ask(kSetRate200, 1s).empty());
    QCOMPARE(bed.working().rateHz, std::uint16_t(200));
    QVERIFY(!bed.ask(kSave).empty());
}

void TestImuSimulatorFaults::wrongEcho()
{
    sim::Faults faults;
    faults.wrongEcho = {protocol::DATA_RATE, protocol::SAVE_SETTINGS};
    DeviceBed bed(faults);
    QCOMPARE(bed.ask(kSetRate200), kRate201);
    QCOMPARE(bed.ask(kSave), (Bytes{0x53, 0x47, 0x08, 0x00, 0x0B, 0x00, 0x0B, 0x00}));
    QCOMPARE(bed->memory().flash.rateHz, std::uint16_t(200));
}

void TestImuSimulatorFaults::refuse()
{
    sim::Faults faults;
    faults.refuse = {protocol::DATA_RATE, protocol::SAVE_SETTINGS, protocol::GET};
    DeviceBed bed(faults);
    QCOMPARE(bed.ask(kSetRate200), kRate100);
    QCOMPARE(bed.ask(kSave), (Bytes{0x53, 0x47, 0x08, 0x00, 0x0B, 0x00, 0x0B, 0x00}));
    QVERIFY(bed.ask(kGet).empty());
    QCOMPARE(bed.working().rateHz, std::uint16_t(100));
}

void TestImuSimulatorFaults::ignoreFirst()
{
    sim::Faults faults;
    faults.ignoreFirst[protocol::DATA_RATE] = 2;
    DeviceBed bed(faults);
    QVERIFY(bed.ask(kSetRate200).empty());
    QVERIFY(!bed.ask(kSave).empty());
    QVERIFY(bed.ask(kSetRate200).empty());
    QCOMPARE(bed.working().rateHz, std::uint16_t(100));
    QCOMPARE(bed.ask(kSetRate200), kRate200);
    QCOMPARE(bed->receivedCommands().size(), std::size_t(4));
}

void TestImuSimulatorFaults::lateReply()
{
    sim::Faults faults;
    faults.lateReply[protocol::DATA_RATE] = 300ms;
    DeviceBed bed(faults);
    QVERIFY(bed.ask(kSetRate200, 290ms).empty());
    QCOMPARE(bed.working().rateHz, std::uint16_t(200));
    QCOMPARE(bed.receive(20ms), kRate200);
}

void TestImuSimulatorFaults::otherPayload()
{
    sim::Faults faults;
    faults.replyPayload[protocol::DATA_RATE] = {0x08, 0xC9, 0x00};
    DeviceBed bed(faults);
    QCOMPARE(bed.ask(kSetRate200), kRate201);
}

void TestImuSimulatorFaults::splitReply()
{
    sim::Faults faults;
    faults.replyShape = sim::ReplyShape::Split;
    DeviceBed bed(faults);
    const auto packets = Host::packets(bed.ask(kGet));
    const std::vector<Bytes> expected{
        {0x53, 0x47, 0x0B, 0x00, 0x07, 0x00, 0xC2, 0x01, 0x00, 0xCA, 0x00},
        kRate100,
        {0x53, 0x47, 0x09, 0x00, 0x09, 0x00, 0x00, 0x09, 0x00},
        {0x53, 0x47, 0x0B, 0x00, 0x10, 0x03, 0x02, 0x00, 0x01, 0x16, 0x00},
        {0x53, 0x47, 0x0B, 0x00, 0x11, 0xEE, 0xFF, 0xC0, 0x00, 0xBE, 0x02}};
    QCOMPARE(packets, expected);
    QCOMPARE(bed.ask(kSetRate200), kRate200);
}

void TestImuSimulatorFaults::brokenReply()
{
    sim::Faults faults;
    faults.replyShape = sim::ReplyShape::Broken;
    DeviceBed bed(faults);
    QCOMPARE(bed.ask(kSetRate200, 10ms), Bytes(kRate200.begin(), kRate200.begin() + 4));
    QCOMPARE(bed.receive(30ms), Bytes(kRate200.begin() + 4, kRate200.end()));
}

void TestImuSimulatorFaults::joinedReply()
{
    sim::Faults faults;
    faults.replyShape = sim::ReplyShape::Joined;
    DeviceBed bed(faults, 0x0004);
    bed.receive(1s);
    bed.send(kSetRate200);
    auto out = bed->transmit(3s);
    while (out && out->bytes[1] != 'G') // skips samples that were on the line before
        out = bed->transmit(3s);
    QVERIFY(out);
    QCOMPARE(out->packets, 2U);
    QCOMPARE(Bytes(out->bytes.begin(), out->bytes.begin() + 9), kRate200);
    QCOMPARE(Host::packets(out->bytes).size(), std::size_t(2));

    DeviceBed mute(faults); // without a stream there is no sample to join
    QCOMPARE(mute.ask(kSetRate200), kRate200);
}

void TestImuSimulatorFaults::corruptChecksum()
{
    sim::Faults faults;
    faults.corruptEvery = 2;
    DeviceBed bed(faults);
    QCOMPARE(bed.ask(kSetRate200), kRate200);
    Bytes broken = kRate200;
    broken[7] = 0xD1;
    QCOMPARE(bed.ask(kSetRate200), broken);
    QCOMPARE(bed.ask(kSetRate200), kRate200);
}

void TestImuSimulatorFaults::noiseBetweenPackets()
{
    sim::Faults faults;
    faults.noiseBytes = 5;
    DeviceBed bed(faults);
    const Bytes first = bed.ask(kSetRate200);
    const Bytes second = bed.ask(kSetRate200);
    QCOMPARE(first.size(), kRate200.size() + 5);
    QCOMPARE(Bytes(first.begin() + 5, first.end()), kRate200);
    QVERIFY(first != second);
}

void TestImuSimulatorFaults::lostBytes()
{
    sim::Faults faults;
    faults.byteLoss = 0.25;
    DeviceBed bed(faults, 0xFF);
    bed.receive(100ms);
    const std::uint64_t before = bed->counters().samplesSent;
    const std::size_t received = bed.receive(10s).size();
    const std::size_t sent = (bed->counters().samplesSent - before) * 93;
    QVERIFY(received > sent * 70 / 100 && received < sent * 80 / 100);
    bed->faults().byteLoss = 1;
    bed.receive(100ms);
    QVERIFY(bed.receive(1s).empty());
}

void TestImuSimulatorFaults::collectsPointsWhileItTurns()
{
    sim::DeviceOptions options;
    options.motion = sim::Motion::Tumble;
    options.settings.outputs = 0;
    sim::ImuSimulator device(options);
    device.receive(kStart, 115200, 1s);
    QVERIFY(device.isCollecting());
    device.advance(11s);
    QCOMPARE(device.calibrationStore().size(), 0U);
    device.receive(kStop, 115200, 11s);
    QVERIFY(!device.isCollecting());
    // About a hundred points, six per page.
    QVERIFY(device.calibrationStore().size() > 14 * 128);
    QVERIFY(device.calibrationStore().size() <= 18 * 128);
    // The points are raw readings: with the true calibration each has length 1.
    const auto calibration = device.sensors().magnetic().trueCalibration();
    const auto block = device.calibrationStore().block(0, 128);
    for (const std::size_t offset : {0U, 12U, 32U, 44U, 64U, 76U}) {
        const auto at = [&](std::size_t i) {
            return static_cast<double>(protocol::readField<float>(block.data() + offset + 4 * i));
        };
        const double length = sim::corrected({at(0), at(1), at(2)}, calibration).norm();
        QVERIFY2(std::abs(length - 1) < 0.02, qPrintable(QString::number(length)));
    }
    device.powerCycle(12s);
    QVERIFY(device.calibrationStore().size() > 0);
}

void TestImuSimulatorFaults::collectsOnePointAtRest()
{
    sim::DeviceOptions options;
    options.motion = sim::Motion::Still;
    sim::ImuSimulator device(options);
    device.receive(kStart, 115200, 1s);
    device.receive(kStop, 115200, 20s);
    QCOMPARE(device.calibrationStore().size(), 128U);
}

void TestImuSimulatorFaults::streamsAtItsRate_data()
{
    QTest::addColumn<int>("rateHz");
    for (const int rate : {50, 100, 200, 400, 500, 1000})
        QTest::addRow("%d Hz", rate) << rate;
}

void TestImuSimulatorFaults::streamsAtItsRate()
{
    QFETCH(const int, rateHz);
    sim::DeviceOptions options;
    options.settings.baud = 1000000;
    options.settings.rateHz = static_cast<std::uint16_t>(rateHz);
    sim::ImuSimulator device(options);
    std::vector<Bytes> packets;
    while (const auto out = device.transmit(10s))
        packets.push_back(out->bytes);
    // The last sample may still be on the line.
    QVERIFY(std::abs(int(packets.size()) - 10 * rateHz) <= 1);
    QCOMPARE(device.counters().samplesSkipped, 0U);
    // Once a second the packet also contains the sync block.
    const auto synced = std::count_if(packets.begin(), packets.end(),
                                      [](const Bytes &packet) { return packet.size() == 130; });
    QVERIFY(synced == 9 || synced == 10);
}

QTEST_APPLESS_MAIN(TestImuSimulatorFaults)
#include "test_imu_simulator_faults.moc"
