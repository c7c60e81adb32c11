#pragma once

#include <chrono>
#include <vector>

namespace faults {

class FaultBed;

// What tells the driver that a command was understood.
enum class Proof {
    Echo,     // a reply with the value that was sent
    AnyEcho,  // a reply, whatever its value
    Status,   // a reply with the status 1
    Settings, // replies with all five settings
    Value,    // a reply with a number
    Records,  // a reply with calibration points
    Speed,    // samples at the new speed
    Samples,  // nothing: no command is sent, samples are waited for
};

struct Answer
{
    bool given; // the operation said it has succeeded
    bool right; // and it is true: what was set is at work, what was read is what the unit holds
};

// An operation of the driver: how patient it is, and how it is tried.
struct Operation
{
    const char *name;
    unsigned char code; // of the command that has to be understood
    Proof proof;
    int attempts;                       // 0: no limit
    int polls;                          // looks for the reply in each attempt, 10 ms apart
    std::chrono::milliseconds pause{0}; // after each failed attempt
    std::vector<unsigned char> reply;   // the payload of the right answer

    Answer (*run)(FaultBed &bed);
    void (*prepare)(FaultBed &bed) = [](FaultBed &) {};

    // An earlier answer still stands, and is looked at as if it were that to this command.
    bool answeredBefore = false;
    bool needsNewDriver = false;            // one that has had no answer
    std::chrono::milliseconds faultFrom{0}; // when a fault of this operation begins
};

// In the order of the document.
const std::vector<Operation> &linkOperations();
const std::vector<Operation> &settingsOperations();
const std::vector<Operation> &calibrationOperations();

// What nothing can confirm, so that every look is worth one attempt: the time of an attempt that
// gets no answer.
std::chrono::milliseconds attemptTime(const Operation &operation);

} // namespace faults
