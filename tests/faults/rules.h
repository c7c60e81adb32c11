#pragma once

#include <string>

#include "tests/faults/fault.h"
#include "tests/faults/operation.h"

namespace faults {

inline constexpr int kEndsAfter = 3;
// Attempts for which a test watches an operation without a limit. The fault then ends, so that the
// operation returns.
int watchedAttempts(const Operation &operation);
// An operation succeeds within this many attempts under a fault that hits at random.
inline constexpr int kChanceAttempts = 60;
// The same for bit errors, which damage one command or reply in a thousand.
inline constexpr int kRareAttempts = 2;

enum class End { Succeeds, Fails, Throws, Waits };

// What an operation does under a fault, by the rules of the driver:
// - how often it sends the command and how long it waits for each reply;
// - what it accepts as the reply;
// - the next attempt still finds a reply with a wrong value;
// - a write to a line that is gone throws.
struct Outcome
{
    End end = End::Succeeds;
    int attempts = 1;  // commands sent by then; an upper limit if `chance`
    bool right = true; // the reported success is true
    bool chance = false;
    std::chrono::milliseconds time{0}; // until it fails or throws
    const char *error = "";            // the beginning of the exception's text
};

Outcome expected(const Operation &operation, Fault fault, FaultCourse course);

// The text of an outcome in the document.
std::string textOf(const Outcome &outcome);

// --- Operations that send no command: connect() and the stream after it

enum class Flow { None, Some, All };
struct Samples
{
    Flow before; // until the fault ends or the cable is unplugged
    Flow after;
};

Samples expectedSamples(Fault fault, FaultCourse course);
// Flow::Some agrees with any number above zero, also with all samples.
bool agrees(const Samples &stated, const Samples &seen);

} // namespace faults
