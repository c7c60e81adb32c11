#pragma once

#include <chrono>
#include <vector>

namespace faults {

class FaultBed;
struct Operation;

// A fault of the device or of its line.
enum class Fault {
    None,
    Silent,
    NoReply,
    WrongEcho,
    Refuse,
    Ignore,
    Late50,
    Late150,
    TooShort,
    TooLong,
    OtherCode,
    Split,
    Broken,
    Joined,
    AllCorrupt,
    SomeCorrupt,
    Noise,
    SomeLost,
    AllLost,
    WrongSpeed,
    SlowBaud1,
    SlowBaud5,
    UnpluggedSaving, // at a command, when the device has begun to write its flash
    OtherName,       // the same; the adapter returns at once under another name
    PowerLossSaving,
    StalledOutput, // the adapter takes no bytes of the host for 2 s
    MidPacket,     // the stream begins in the middle of a packet after each opening
    BitErrors,     // one bit in 100000
};

inline constexpr int kFaultCount = static_cast<int>(Fault::BitErrors) + 1;

// Duration of a flash write under the faults that hit it. Longer than the driver waits for a reply,
// shorter than its pause before the next attempt to save.
inline constexpr std::chrono::milliseconds kFlashTime{200};

const char *nameOf(Fault fault);
std::vector<Fault> allFaults();

// How long the fault lasts during an operation.
enum class FaultCourse {
    Ends,     // at the operation's third command
    Stays,    // during the whole operation
    Unplugged // the cable is unplugged in the first attempt, before the reply
};

const char *nameOf(FaultCourse course);
// A fault that happens once has no other end, and one that pulls the cable leaves none to pull.
std::vector<FaultCourse> coursesOf(Fault fault);

// The cable of these is unplugged after the first command. It returns at once, under the same name
// if the fault ends.
bool pullsTheCable(Fault fault);

// A fault that applies to one command applies to that of the operation.
void begin(Fault fault, const Operation &operation, FaultBed &bed);
// Removes all faults and restores the device's baud rate.
void end(Fault fault, FaultBed &bed);

} // namespace faults
