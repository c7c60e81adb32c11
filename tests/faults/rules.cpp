#include "tests/faults/rules.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "protocol/protocol.h"

using namespace std::chrono_literals;
using namespace protocol;
using std::chrono::milliseconds;

namespace faults {

namespace {

// What the driver makes of the reply to one command.
enum class Worth {
    Good,     // the expected reply
    Untrue,   // accepted as the expected reply, but its value is wrong
    Empty,    // accepted as the expected reply; it reports no data
    Mismatch, // a reply with another value than expected
    Nothing,  // no reply
    Chance,   // the expected reply or none
};

constexpr int kForEver = std::numeric_limits<int>::max() / 2;

bool hitsTheLine(Fault fault)
{
    return fault == Fault::Silent || fault == Fault::AllCorrupt || fault == Fault::AllLost ||
           fault == Fault::WrongSpeed;
}

bool hitsByChance(Fault fault)
{
    return fault == Fault::SomeCorrupt || fault == Fault::Noise || fault == Fault::SomeLost ||
           fault == Fault::BitErrors;
}

bool savesSettings(const Operation &operation)
{
    return operation.code == SAVE_SETTINGS || operation.code == FACTORY_RESET;
}

bool isUnderstood(Fault fault)
{
    return fault != Fault::Ignore && fault != Fault::Refuse && fault != Fault::WrongSpeed;
}

Worth worthOfWrongEcho(SuccessCriterion criterion)
{
    switch (criterion) {
    case SuccessCriterion::Echo:
        return Worth::Mismatch;
    case SuccessCriterion::Status: // the status is then 0
        return Worth::Nothing;
    case SuccessCriterion::Settings:
    case SuccessCriterion::Value:
    case SuccessCriterion::Points:
        return Worth::Untrue;
    case SuccessCriterion::AnyEcho:
    case SuccessCriterion::BaudRate:
    case SuccessCriterion::Samples:
        return Worth::Good;
    }
    return Worth::Good;
}

Worth worthOfRefusal(SuccessCriterion criterion)
{
    switch (criterion) {
    case SuccessCriterion::Echo: // with the value in effect
        return Worth::Mismatch;
    case SuccessCriterion::AnyEcho:
        return Worth::Untrue;
    case SuccessCriterion::Status:
    case SuccessCriterion::Settings:
    case SuccessCriterion::BaudRate:
        return Worth::Nothing;
    case SuccessCriterion::Value:
    case SuccessCriterion::Points:
        return Worth::Empty;
    case SuccessCriterion::Samples:
        return Worth::Good;
    }
    return Worth::Good;
}

// The decoder does not check where a packet ends: a missing value is read from the bytes that
// follow, beginning with the checksum.
Worth worthOfShortReply(SuccessCriterion criterion)
{
    switch (criterion) {
    case SuccessCriterion::Echo:
        return Worth::Mismatch;
    case SuccessCriterion::Status: // not 1: the checksum of a lone code is the code
    case SuccessCriterion::Settings:
        return Worth::Nothing;
    case SuccessCriterion::Value:
        return Worth::Untrue;
    case SuccessCriterion::Points:
        return Worth::Empty;
    case SuccessCriterion::AnyEcho:
    case SuccessCriterion::BaudRate:
    case SuccessCriterion::Samples:
        return Worth::Good;
    }
    return Worth::Good;
}

Worth worthOf(Fault fault, SuccessCriterion criterion)
{
    const bool needsReply =
        criterion != SuccessCriterion::BaudRate && criterion != SuccessCriterion::Samples;
    if (hitsTheLine(fault))
        return Worth::Nothing;
    if (hitsByChance(fault))
        return Worth::Chance;
    switch (fault) {
    case Fault::NoReply:
    case Fault::OtherCode:
        return needsReply ? Worth::Nothing : Worth::Good;
    case Fault::Ignore:
        return criterion == SuccessCriterion::Samples ? Worth::Good : Worth::Nothing;
    case Fault::WrongEcho:
        return worthOfWrongEcho(criterion);
    case Fault::Refuse:
        return worthOfRefusal(criterion);
    case Fault::TooShort:
        return worthOfShortReply(criterion);
    case Fault::TooLong: // surplus bytes are skipped; a reply of records does not fit at all
        return criterion == SuccessCriterion::Points ? Worth::Nothing : Worth::Good;
    default:
        return Worth::Good;
    }
}

Worth worthOf(Fault fault, const Operation &operation)
{
    if (fault == Fault::PowerLossSaving)
        return savesSettings(operation) ? Worth::Nothing : Worth::Good;
    return worthOf(fault, operation.criterion);
}

milliseconds lateness(Fault fault, const Operation &operation)
{
    const bool writesFlash = savesSettings(operation) || operation.code == STOP_CALIBRATION ||
                             operation.code == MAG_CALIBRATION;
    switch (fault) {
    case Fault::PowerLossSaving: // the other writes only take their time
        return writesFlash ? kFlashTime : 0ms;
    case Fault::Late50:
        return 50ms;
    case Fault::Late150:
        return 150ms;
    case Fault::Broken:
        return 20ms;
    default:
        return 0ms;
    }
}

// The attempt, counted from 1, that finds the reply to the first command if the reply is `late`.
// Even a prompt reply is not there at the first check. If the flag of an earlier reply is set, each
// attempt has one check.
int attemptThatSees(const Operation &operation, milliseconds late)
{
    const int looks = operation.answeredBefore ? 1 : operation.polls;
    for (int attempt = 1;; ++attempt) {
        const milliseconds begins = (attempt - 1) * attemptTime(operation);
        if (begins + (looks - 1) * 10ms > late)
            return attempt;
    }
}

// The attempt that succeeds if the fault affects the replies to the first `faulty` commands.
int succeedsAt(const Operation &operation, Fault fault, int faulty)
{
    // The host checks for the stream at the end of each attempt, for the first time after 100 ms
    // less. A device that the host receives again has obeyed the first command by then, if it
    // understood that command.
    if (operation.criterion == SuccessCriterion::BaudRate) {
        if (fault == Fault::SlowBaud5)
            return 3;
        if (worthOf(fault, operation) == Worth::Good)
            return 1;
        return isUnderstood(fault) ? faulty : faulty + 1;
    }
    const int prompt = attemptThatSees(operation, 0ms);
    const int late = attemptThatSees(operation, lateness(fault, operation));
    // A flash write that has begun takes its time although the fault has ended.
    if (fault == Fault::PowerLossSaving && !savesSettings(operation))
        return late;
    switch (worthOf(fault, operation)) {
    case Worth::Good:
    case Worth::Untrue:
    case Worth::Empty:
    case Worth::Chance:
        return std::min(late, faulty + prompt);
    case Worth::Mismatch: // its flag stays set, so the next attempt has one check
        return faulty + 2;
    case Worth::Nothing:
        return faulty + prompt;
    }
    return 0;
}

// Duration until an operation fails that has received no reply, or only a wrong one.
milliseconds timeToFail(const Operation &operation, Worth worth)
{
    if (worth == Worth::Mismatch)
        return 10ms + operation.attempts * operation.pause;
    return operation.attempts * attemptTime(operation);
}

Outcome outcomeOfUnplugging(const Operation &operation)
{
    Outcome outcome;
    outcome.end = End::Throws;
    outcome.time =
        operation.criterion == SuccessCriterion::BaudRate ? 2100ms : attemptTime(operation);
    outcome.time += operation.faultFrom > 0ms ? 2200ms : 0ms;
    outcome.error = operation.criterion == SuccessCriterion::BaudRate ? "open" : "write_some";
    return outcome;
}

// The write of the first attempt waits. It ends when the cable is unplugged.
Outcome outcomeOfUnpluggingInAWrite(const Operation &operation)
{
    Outcome outcome;
    outcome.end = End::Throws;
    outcome.attempts = 0;
    outcome.time = operation.faultFrom > 0ms ? 2200ms : 0ms;
    outcome.error = "write_some";
    return outcome;
}

std::string inSeconds(milliseconds time)
{
    if (time < 1s)
        return std::to_string(time.count()) + " ms";
    const auto tenths = std::lround(static_cast<double>(time.count()) / 100.0);
    std::string text = std::to_string(tenths / 10);
    if (tenths < 100)
        text += "." + std::to_string(tenths % 10);
    return text + " s";
}

} // namespace

int watchedAttempts(const Operation &operation)
{
    return attemptTime(operation) > 500ms ? 25 : 110;
}

Outcome expected(const Operation &operation, Fault fault, FaultCourse course)
{
    Outcome outcome;
    if (course == FaultCourse::Unplugged && fault == Fault::StalledOutput)
        return outcomeOfUnpluggingInAWrite(operation);
    const bool unplugged = course == FaultCourse::Unplugged || pullsTheCable(fault);
    // Any reply confirms the command, also the earlier one: the operation ends before the fault has
    // an effect.
    if (operation.answeredBefore && operation.criterion == SuccessCriterion::AnyEcho) {
        outcome.right = !unplugged && isUnderstood(fault);
        return outcome;
    }
    // Opens the port again after the first attempt.
    if (fault == Fault::UnpluggedSaving && course == FaultCourse::Ends &&
        operation.criterion == SuccessCriterion::BaudRate) {
        outcome.attempts = 2;
        return outcome;
    }
    if (unplugged)
        return outcomeOfUnplugging(operation);

    const Worth worth = worthOf(fault, operation);
    // Of the settings read at the new baud rate, setBaudRate() uses only whether the baud rate is
    // 0. A device that has lost its power saves its earlier settings.
    outcome.right = (worth != Worth::Untrue || operation.faultFrom > 0ms) &&
                    !(fault == Fault::PowerLossSaving && operation.code == SAVE_SETTINGS);
    outcome.chance = worth == Worth::Chance;
    if (outcome.chance) {
        outcome.attempts = fault == Fault::BitErrors ? kRareAttempts : kChanceAttempts;
        return outcome;
    }
    if (worth == Worth::Empty) {
        outcome.end = End::Fails;
        outcome.time = 10ms;
        return outcome;
    }
    outcome.attempts =
        succeedsAt(operation, fault, course == FaultCourse::Ends ? kEndsAfter : kForEver);
    if (operation.attempts > 0 && outcome.attempts > operation.attempts) {
        outcome.end = End::Fails;
        outcome.attempts = operation.attempts;
        outcome.time = timeToFail(operation, worth);
    } else if (outcome.attempts >= kForEver) {
        outcome.end = End::Waits;
        outcome.attempts = succeedsAt(operation, fault, watchedAttempts(operation));
    }
    return outcome;
}

std::string textOf(const Outcome &outcome)
{
    const std::string attempts = std::to_string(outcome.attempts) + " attempts";
    switch (outcome.end) {
    case End::Succeeds: {
        std::string text = "succeeds";
        if (outcome.chance)
            text += ", sooner or later";
        else if (outcome.attempts > 1)
            text += " at attempt " + std::to_string(outcome.attempts);
        return outcome.right ? text : text + ", **untrue**";
    }
    case End::Fails:
        return outcome.attempts == 1 ? "fails at once"
                                     : "fails after " + attempts + ", " + inSeconds(outcome.time);
    case End::Throws:
        return std::string("throws \"") + outcome.error + "\" after " + inSeconds(outcome.time);
    case End::Waits:
        return "waits";
    }
    return "";
}

Samples expectedSamples(Fault fault, FaultCourse course)
{
    const Worth worth = worthOf(fault, SuccessCriterion::Samples);
    const Flow faulty = worth == Worth::Nothing  ? Flow::None
                        : worth == Worth::Chance ? Flow::Some
                                                 : Flow::All;
    if (pullsTheCable(fault)) // the driver does not open the port again
        return {Flow::All, Flow::None};
    if (fault == Fault::MidPacket) // only the first sample after an opening is cut
        return {Flow::Some, course == FaultCourse::Unplugged ? Flow::None : Flow::All};
    switch (course) {
    case FaultCourse::Ends:
        return {faulty, Flow::All};
    case FaultCourse::Stays:
        return {faulty, faulty};
    case FaultCourse::Unplugged:
        return {faulty, Flow::None};
    }
    return {};
}

bool agrees(const Samples &stated, const Samples &seen)
{
    const auto agree = [](Flow one, Flow other) {
        return one == Flow::Some ? other != Flow::None : one == other;
    };
    return agree(stated.before, seen.before) && agree(stated.after, seen.after);
}

} // namespace faults
