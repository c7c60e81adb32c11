#pragma once

#include <chrono>
#include <vector>

namespace sim {
class ImuSimulator;
}

namespace faults {

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
};

inline constexpr int kFaultCount = static_cast<int>(Fault::SlowBaud5) + 1;

const char *nameOf(Fault fault);
std::vector<Fault> allFaults();

// A fault that applies to one command applies to that of the operation.
void begin(Fault fault, const Operation &operation, sim::ImuSimulator &device);
// Removes all faults and restores the device's baud rate.
void end(Fault fault, sim::ImuSimulator &device);

} // namespace faults
