#include "tests/faults/fault.h"

#include <array>

#include "tests/faults/fault_bed.h"
#include "tests/faults/operation.h"

using namespace std::chrono_literals;
using namespace protocol;

namespace faults {

namespace {

// Pairs of a baud rate of the host and another baud rate, to which Fault::WrongSpeed moves the
// device. Each baud rate occurs once, so the end of the fault can restore the right one.
struct BaudPair
{
    std::uint32_t right;
    std::uint32_t wrong;
};
constexpr std::array<BaudPair, 2> kBaudPairs{{{FaultBed::kBaud, 230400}, {921600, 57600}}};

void changeBaud(sim::ImuSimulator &device, std::uint32_t BaudPair::*from,
                std::uint32_t BaudPair::*to)
{
    sim::DeviceMemory memory = device.memory();
    for (const BaudPair &pair : kBaudPairs) {
        if (pair.*from == device.lineBaud()) {
            memory.active.baud = pair.*to;
            device.setMemory(memory);
            return;
        }
    }
}

// A reply cut at its most harmful place: after the code if it is a single block, between two values
// if it lists several.
std::vector<unsigned char> tooShort(const Operation &operation)
{
    const std::size_t size = operation.criterion == SuccessCriterion::Settings ? 8 : 1;
    return {operation.reply.begin(), operation.reply.begin() + static_cast<std::ptrdiff_t>(size)};
}

// Three bytes too long; records of calibration points fit no buffer of the driver.
std::vector<unsigned char> tooLong(const Operation &operation)
{
    std::vector<unsigned char> payload = operation.reply;
    payload.resize(operation.criterion == SuccessCriterion::Points ? 1100 : payload.size() + 3);
    return payload;
}

} // namespace

const char *nameOf(Fault fault)
{
    switch (fault) {
    case Fault::None:
        return "none";
    case Fault::Silent:
        return "silent";
    case Fault::NoReply:
        return "obeys without a reply";
    case Fault::WrongEcho:
        return "echoes another value";
    case Fault::Refuse:
        return "refuses";
    case Fault::Ignore:
        return "ignores the command";
    case Fault::Late50:
        return "reply 50 ms late";
    case Fault::Late150:
        return "reply 150 ms late";
    case Fault::TooShort:
        return "reply too short";
    case Fault::TooLong:
        return "reply too long";
    case Fault::OtherCode:
        return "reply with another code";
    case Fault::Split:
        return "reply split";
    case Fault::Broken:
        return "reply broken";
    case Fault::Joined:
        return "reply joined to a sample";
    case Fault::AllCorrupt:
        return "every packet corrupt";
    case Fault::SomeCorrupt:
        return "every third packet corrupt";
    case Fault::Noise:
        return "noise between packets";
    case Fault::SomeLost:
        return "bytes lost";
    case Fault::AllLost:
        return "all bytes lost";
    case Fault::WrongSpeed:
        return "at another speed";
    case Fault::SlowBaud1:
        return "1 s to change speed";
    case Fault::SlowBaud5:
        return "5 s to change speed";
    case Fault::UnpluggedSaving:
        return "unplugged while it saves";
    case Fault::OtherName:
        return "returns under another name";
    case Fault::PowerLossSaving:
        return "loses its power while it saves";
    case Fault::StalledOutput:
        return "takes no bytes for 2 s";
    case Fault::MidPacket:
        return "begins in the middle of a packet";
    case Fault::BitErrors:
        return "bit errors";
    }
    return "";
}

std::vector<Fault> allFaults()
{
    std::vector<Fault> all;
    for (int i = 0; i < kFaultCount; ++i)
        all.push_back(static_cast<Fault>(i));
    return all;
}

const char *nameOf(FaultCourse course)
{
    switch (course) {
    case FaultCourse::Ends:
        return "ends";
    case FaultCourse::Stays:
        return "stays";
    case FaultCourse::Unplugged:
        return "unplugged";
    }
    return "";
}

std::vector<FaultCourse> coursesOf(Fault fault)
{
    switch (fault) {
    case Fault::UnpluggedSaving:
        return {FaultCourse::Ends, FaultCourse::Stays};
    case Fault::OtherName:
        return {FaultCourse::Stays};
    case Fault::StalledOutput:
        return {FaultCourse::Ends, FaultCourse::Unplugged};
    case Fault::MidPacket:
        return {FaultCourse::Stays, FaultCourse::Unplugged};
    default:
        return {FaultCourse::Ends, FaultCourse::Stays, FaultCourse::Unplugged};
    }
}

bool pullsTheCable(Fault fault)
{
    return fault == Fault::UnpluggedSaving || fault == Fault::OtherName;
}

void begin(Fault fault, const Operation &operation, FaultBed &bed)
{
    sim::ImuSimulator &device = bed.device();
    sim::Faults &faults = device.faults();
    switch (fault) {
    case Fault::None:
        return;
    case Fault::Silent:
        faults.silent = true;
        return;
    case Fault::NoReply:
        faults.noReply.insert(operation.code);
        return;
    case Fault::WrongEcho:
        faults.wrongEcho.insert(operation.code);
        return;
    case Fault::Refuse:
        faults.refuse.insert(operation.code);
        return;
    case Fault::Ignore:
        faults.ignoreFirst[operation.code] = 1'000'000;
        return;
    case Fault::Late50:
        faults.lateReply[operation.code] = 50ms;
        return;
    case Fault::Late150:
        faults.lateReply[operation.code] = 150ms;
        return;
    case Fault::TooShort:
        faults.replyPayload[operation.code] = tooShort(operation);
        return;
    case Fault::TooLong:
        faults.replyPayload[operation.code] = tooLong(operation);
        return;
    case Fault::OtherCode:
        faults.replyPayload[operation.code] = {SERIAL_NUMBER, 1, 2, 3, 4};
        return;
    case Fault::Split:
        faults.replyShape = sim::ReplyShape::Split;
        return;
    case Fault::Broken:
        faults.replyShape = sim::ReplyShape::Broken;
        return;
    case Fault::Joined:
        faults.replyShape = sim::ReplyShape::Joined;
        return;
    case Fault::AllCorrupt:
        faults.corruptEvery = 1;
        return;
    case Fault::SomeCorrupt:
        faults.corruptEvery = 3;
        return;
    case Fault::Noise:
        faults.noiseBytes = 5;
        return;
    case Fault::SomeLost:
        faults.byteLoss = 0.02;
        return;
    case Fault::AllLost:
        faults.byteLoss = 1;
        return;
    case Fault::WrongSpeed:
        changeBaud(device, &BaudPair::right, &BaudPair::wrong);
        return;
    case Fault::SlowBaud1:
        faults.baudChangeDelay = 1s;
        return;
    case Fault::SlowBaud5:
        faults.baudChangeDelay = 5s;
        return;
    case Fault::UnpluggedSaving:
    case Fault::OtherName:
        device.setFlashTime({kFlashTime, kFlashTime});
        return;
    case Fault::PowerLossSaving:
        device.setFlashTime({kFlashTime, kFlashTime});
        faults.powerLossesWhileSaving = 1'000'000;
        return;
    case Fault::StalledOutput:
        bed.stallOutput(2s);
        return;
    case Fault::MidPacket:
        bed.setLineOptions({.startsMidPacket = true});
        return;
    case Fault::BitErrors:
        faults.bitErrors = 1e-5;
        return;
    }
}

void end(Fault fault, FaultBed &bed)
{
    sim::ImuSimulator &device = bed.device();
    device.faults() = {};
    device.setFlashTime({});
    bed.endStall();
    bed.setLineOptions({});
    if (fault == Fault::WrongSpeed)
        changeBaud(device, &BaudPair::wrong, &BaudPair::right);
}

} // namespace faults
