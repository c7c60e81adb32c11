#pragma once

#include <chrono>
#include <vector>

namespace faults {

class FaultBed;

// What confirms a command to the driver.
enum class SuccessCriterion {
    Echo,     // a reply with the value that was sent
    AnyEcho,  // a reply, whatever its value
    Status,   // a reply with the status 1
    Settings, // replies with all five settings
    Value,    // a reply with a number
    Points,   // a reply with calibration points
    BaudRate, // samples at the new baud rate
    Samples,  // no command is sent; the test waits for samples
};

struct Answer
{
    bool given; // the operation returned success
    bool right; // the success is true: the setting is in effect, the value read is the device's
};

// An operation of the driver, with the retries that it makes, and how the tests run it.
struct Operation
{
    const char *name;
    unsigned char code; // of the command that the device has to understand
    SuccessCriterion criterion;
    int attempts;                       // 0: no limit
    int polls;                          // checks for the reply in each attempt, 10 ms apart
    std::chrono::milliseconds pause{0}; // after each failed attempt
    std::vector<unsigned char> reply;   // payload of the right reply

    Answer (*run)(FaultBed &bed);
    void (*prepare)(FaultBed &bed) = [](FaultBed &) {};

    // The flag of an earlier reply is still set; the operation accepts it as the reply to its own
    // command.
    bool answeredBefore = false;
    bool needsNewDriver = false;            // needs a driver without an earlier reply
    std::chrono::milliseconds faultFrom{0}; // when the fault begins after the operation's start
};

// In the order of the document.
const std::vector<Operation> &linkOperations();
const std::vector<Operation> &settingsOperations();
const std::vector<Operation> &calibrationOperations();

// Duration of an attempt without a new reply. If the flag of an earlier reply is set, the attempt
// does not wait and lasts only its pause.
std::chrono::milliseconds attemptTime(const Operation &operation);

} // namespace faults
