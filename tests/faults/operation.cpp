#include "tests/faults/operation.h"

#include <array>

#include "tests/faults/fault_bed.h"

using namespace std::chrono_literals;
using namespace protocol;

namespace faults {

namespace {

const sim::DeviceSettings &working(FaultBed &bed)
{
    return bed.device().memory().active;
}

// Changes the data rate from the stored one, so that a save has a visible effect.
void changeRate(FaultBed &bed)
{
    sim::DeviceMemory memory = bed.device().memory();
    memory.active.rateHz = 400;
    bed.device().setMemory(memory);
}

// Stops the stream, as the program does before a download. It also shortens the longest waits.
void stopStream(FaultBed &bed)
{
    sim::DeviceMemory memory = bed.device().memory();
    memory.active.outputs = 0;
    bed.device().setMemory(memory);
    bed.pass(20ms);
}

void startCollecting(FaultBed &bed)
{
    stopStream(bed);
    bed.driver().startCalibration();
}

// Fills two pages with the points (1, 2, 3), (4, 5, 6) and so on.
void fillMemory(FaultBed &bed)
{
    stopStream(bed);
    std::vector<std::array<float, 3>> points;
    for (float first = 1; points.size() < 12; first += 3)
        points.push_back({first, first + 1, first + 2});
    bed.device().calibrationStore().setPoints(points);
}

// --- Settings

Answer loadSettings(FaultBed &bed)
{
    imu &driver = bed.driver();
    const bool loaded = driver.loadSettings();
    const auto baud = static_cast<std::uint32_t>(driver.getBaudRate());
    const int rate = driver.getDataRate();
    const int outputs = driver.getOutputs();
    const sim::DeviceSettings &settings = working(bed);
    return {loaded, baud == settings.baud && rate == settings.rateHz &&
                        outputs == settings.outputs && driver.getSerialNumber() == 0x00C0FFEE &&
                        driver.getFirmwareVersion() == 0x0203 &&
                        driver.getHardwareVersion() == 0x0100};
}

Answer setDataRate(FaultBed &bed)
{
    const bool done = bed.driver().setDataRate(100);
    return {done, working(bed).rateHz == 100};
}

Answer setOutputs(FaultBed &bed)
{
    const bool done = bed.driver().setOutputs(OUT_QUATERNION | OUT_EULER);
    return {done, working(bed).outputs == (OUT_QUATERNION | OUT_EULER)};
}

Answer setZeroThreshold(FaultBed &bed)
{
    bed.driver().setZeroThreshold(0.02F);
    bed.pass(10ms); // setZeroThreshold() may return before the device has received the command
    return {true, working(bed).zeroThreshold == 0.02F};
}

Answer saveSettings(FaultBed &bed)
{
    const bool done = bed.driver().saveSettings();
    return {done, bed.device().memory().flash.rateHz == 400};
}

Answer revertToFactorySettings(FaultBed &bed)
{
    const bool done = bed.driver().revertToFactorySettings();
    return {done, bed.device().memory().flash == sim::DeviceSettings()};
}

// --- Calibration

Answer startCalibration(FaultBed &bed)
{
    const bool done = bed.driver().startCalibration();
    return {done, bed.device().isCollecting()};
}

Answer stopCalibration(FaultBed &bed)
{
    const bool done = bed.driver().stopCalibration();
    return {done, !bed.device().isCollecting()};
}

Answer getCalibrationDataSize(FaultBed &bed)
{
    const unsigned int size = bed.driver().getCalibrationDataSize();
    return {size != 0, size == bed.device().calibrationStore().size()};
}

Answer getCalibrationData(FaultBed &bed)
{
    const std::vector<float> points = bed.driver().getCalibrationData(0, 128);
    const std::vector<float> stored{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18};
    return {!points.empty(), points == stored};
}

bool applyCalibration(FaultBed &bed, float scale)
{
    sim::MagneticCalibration wanted{{1, 2, 3}, {scale, 0, 0, 0, scale, 0, 0, 0, scale}};
    return bed.driver().setMagneticFieldCalibrationData(wanted.bias.data(), wanted.matrix.data());
}

Answer applyCalibration(FaultBed &bed)
{
    const bool done = applyCalibration(bed, 0.5F);
    return {done, working(bed).magnetic.matrix[0] == 0.5F};
}

// Sets 200 Hz: at this data rate a reply that is joined with a sample has arrived when the driver
// next looks for it.
void applyAnother(FaultBed &bed)
{
    sim::DeviceMemory memory = bed.device().memory();
    memory.active.rateHz = 200;
    bed.device().setMemory(memory);
    applyCalibration(bed, 0.25F);
}

std::vector<unsigned char> calibrationReply()
{
    std::vector<unsigned char> reply{MAG_CALIBRATION};
    for (const float value :
         {1.0F, 2.0F, 3.0F, 0.5F, 0.0F, 0.0F, 0.0F, 0.5F, 0.0F, 0.0F, 0.0F, 0.5F}) {
        const auto bytes = std::bit_cast<std::array<unsigned char, 4>>(value);
        reply.insert(reply.end(), bytes.begin(), bytes.end());
    }
    return reply;
}

// --- Link

Answer setBaudRate(FaultBed &bed)
{
    const bool done = bed.driver().setBaudRate(921600);
    return {done, bed.device().lineBaud() == 921600};
}

} // namespace

const std::vector<Operation> &linkOperations()
{
    static const std::vector<unsigned char> kReply{BAUD_RATE, 0x00, 0x10, 0x0E, 0x00};
    static const std::vector<unsigned char> kSettings{
        7, 0x00, 0x10, 0x0E, 0, 8, 50, 0, 9, 4, 0, 16, 3, 2, 0, 1, 17, 0xEE, 0xFF, 0xC0, 0};
    static const std::vector<Operation> kOperations{
        {"setBaudRate", BAUD_RATE, SuccessCriterion::BaudRate, 0, 0, 0ms, kReply, setBaudRate},
        {.name = "setBaudRate, reading the settings at the new speed",
         .code = GET,
         .criterion = SuccessCriterion::Settings,
         .attempts = 0, // 499 x 12 x 101 attempts: one and a half days
         .polls = 10,
         .pause = 100ms,
         .reply = kSettings,
         .run = setBaudRate,
         .faultFrom = 2150ms},
    };
    return kOperations;
}

const std::vector<Operation> &settingsOperations()
{
    static const std::vector<unsigned char> kSettings{
        7, 0x40, 0x42, 0x0F, 0, 8, 50, 0, 9, 4, 0, 16, 3, 2, 0, 1, 17, 0xEE, 0xFF, 0xC0, 0};
    static const std::vector<unsigned char> kThreshold{ZERO_THRESHOLD, 0x0A, 0xD7, 0xA3, 0x3C};
    static const std::vector<Operation> kOperations{
        {"loadSettings", GET, SuccessCriterion::Settings, 101, 10, 100ms, kSettings, loadSettings},
        {"setDataRate",
         DATA_RATE,
         SuccessCriterion::Echo,
         0,
         9,
         10ms,
         {DATA_RATE, 100, 0},
         setDataRate},
        {"setOutputs",
         OUTPUTS,
         SuccessCriterion::Echo,
         1002,
         9,
         1ms,
         {OUTPUTS, 0x24, 0},
         setOutputs,
         stopStream},
        {.name = "setZeroThreshold, the first of a driver",
         .code = ZERO_THRESHOLD,
         .criterion = SuccessCriterion::AnyEcho,
         .attempts = 0,
         .polls = 9,
         .pause = 10ms,
         .reply = kThreshold,
         .run = setZeroThreshold,
         .needsNewDriver = true},
        {.name = "setZeroThreshold, a later one",
         .code = ZERO_THRESHOLD,
         .criterion = SuccessCriterion::AnyEcho,
         .attempts = 0,
         .polls = 9,
         .pause = 10ms,
         .reply = kThreshold,
         .run = setZeroThreshold,
         .prepare = [](FaultBed &bed) { bed.driver().setZeroThreshold(1); },
         .answeredBefore = true},
        {"saveSettings",
         SAVE_SETTINGS,
         SuccessCriterion::Status,
         0,
         9,
         500ms,
         {SAVE_SETTINGS, 1},
         saveSettings,
         changeRate},
        {"revertToFactorySettings",
         FACTORY_RESET,
         SuccessCriterion::Status,
         0,
         9,
         500ms,
         {FACTORY_RESET, 1},
         revertToFactorySettings,
         changeRate},
    };
    return kOperations;
}

const std::vector<Operation> &calibrationOperations()
{
    static const std::vector<Operation> kOperations{
        {"startCalibration",
         START_CALIBRATION,
         SuccessCriterion::Status,
         12,
         999,
         10ms,
         {START_CALIBRATION, 1},
         startCalibration,
         stopStream},
        {"stopCalibration",
         STOP_CALIBRATION,
         SuccessCriterion::Status,
         1002,
         9,
         10ms,
         {STOP_CALIBRATION, 1},
         stopCalibration,
         startCollecting},
        {"getCalibrationDataSize",
         CALIBRATION_DATA_SIZE,
         SuccessCriterion::Value,
         1002,
         99,
         10ms,
         {CALIBRATION_DATA_SIZE, 0, 1, 0, 0},
         getCalibrationDataSize,
         fillMemory},
        {"getCalibrationData",
         CALIBRATION_DATA,
         SuccessCriterion::Points,
         102,
         9,
         10ms,
         {CALIBRATION_DATA},
         getCalibrationData,
         fillMemory},
        {.name = "setMagneticFieldCalibrationData, the first of a driver",
         .code = MAG_CALIBRATION,
         .criterion = SuccessCriterion::Echo,
         .attempts = 0,
         .polls = 9,
         .pause = 10ms,
         .reply = calibrationReply(),
         .run = applyCalibration,
         .needsNewDriver = true},
        {.name = "setMagneticFieldCalibrationData, a later one",
         .code = MAG_CALIBRATION,
         .criterion = SuccessCriterion::Echo,
         .attempts = 0,
         .polls = 9,
         .pause = 10ms,
         .reply = calibrationReply(),
         .run = applyCalibration,
         .prepare = applyAnother,
         .answeredBefore = true},
    };
    return kOperations;
}

std::chrono::milliseconds attemptTime(const Operation &operation)
{
    if (operation.criterion == SuccessCriterion::BaudRate)
        return 2200ms;
    return operation.answeredBefore ? operation.pause : operation.polls * 10ms + operation.pause;
}

} // namespace faults
