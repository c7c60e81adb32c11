#pragma once

#include "tests/faults/fault.h"
#include "tests/faults/operation.h"

#include <string>

namespace faults {

// What becomes of the fault.
enum class Fate {
    Ends,     // at the operation's third command
    Stays,    // as long as the operation goes on
    Unplugged // during the first attempt, before it could be answered
};

const char *nameOf(Fate fate);
std::vector<Fate> allFates();

inline constexpr int kEndsAfter = 3;
// An operation without a limit is seen to wait for this many attempts; then the fault ends all the
// same, so that it can be seen to end too.
int watchedAttempts(const Operation &operation);
// A fault that hits by chance is survived within this many attempts.
inline constexpr int kChanceAttempts = 60;

enum class End { Succeeds, Fails, Throws, Waits };

// What an operation does under a fault, by the rules of the driver: how often an operation asks and
// how long it looks for the answer each time, what it takes for one, that an answer which was not
// the right one is still looked at by the next attempt, and that a write to a line that is gone
// throws.
struct Outcome
{
    End end = End::Succeeds;
    int attempts = 1;  // commands sent by then; at most these if `chance`
    bool right = true; // a success is true
    bool chance = false;
    std::chrono::milliseconds time{0}; // until it fails or throws
    const char *error = "";            // the word of what is thrown
};

Outcome expected(const Operation &operation, Fault fault, Fate fate);

// As the document says it.
std::string textOf(const Outcome &outcome);

// --- Operations that only listen: connect() and the stream after it

enum class Flow { None, Some, All };
struct Samples
{
    Flow before; // the fault's end, or the unplugging
    Flow after;
};

Samples expectedSamples(Fault fault, Fate fate);
// Some is what chance leaves, which may be all.
bool agrees(const Samples &stated, const Samples &seen);

} // namespace faults
