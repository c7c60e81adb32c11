#include "tests/faults/cell.h"

#include <iostream>
#include <sstream>

#include <boost/system/system_error.hpp>

using namespace std::chrono_literals;
using namespace protocol;

namespace faults {

namespace {

// Captures standard output: the driver prints each step of a baud rate change there, and the matrix
// runs more than a thousand of them.
class QuietOutput
{
public:
    QuietOutput() { m_previous = std::cout.rdbuf(m_text.rdbuf()); }
    ~QuietOutput() { std::cout.rdbuf(m_previous); }
    QuietOutput(const QuietOutput &) = delete;
    QuietOutput &operator=(const QuietOutput &) = delete;

private:
    std::ostringstream m_text;
    std::streambuf *m_previous = nullptr;
};

struct Measured
{
    Outcome outcome;
    std::string error;
    bool stuck = false;
};

void pullTheCable(FaultBed &bed, Fault fault, FaultCourse course)
{
    bed.unplug();
    if (fault == Fault::OtherName)
        bed.plugIn(FaultBed::Path::Other);
    else if (course == FaultCourse::Ends)
        bed.plugIn();
}

// Ends the fault after `until` commands of the operation. An operation with a limit on its attempts
// gets no such end under FaultCourse::Stays: it has to stop at its limit.
void arrange(FaultBed &bed, const Operation &operation, Fault fault, FaultCourse course)
{
    const auto startFault = [&bed, &operation, fault] { begin(fault, operation, bed); };
    // The driver writes before the sleep in which a fault begins; a stall has to begin earlier.
    const milliseconds lead = fault == Fault::StalledOutput ? 100ms : 0ms;
    if (operation.faultFrom > 0ms)
        bed.at(operation.faultFrom - lead, startFault);
    else
        startFault();
    if (course == FaultCourse::Unplugged && fault == Fault::StalledOutput) {
        bed.unplugInStall();
    } else if (course == FaultCourse::Unplugged) {
        bed.beforeCommand([&bed] { bed.unplug(); });
    } else if (pullsTheCable(fault)) {
        bed.afterCommand([&bed, fault, course] {
            if (bed.commands() == 1)
                pullTheCable(bed, fault, course);
        });
    } else if (course == FaultCourse::Ends || operation.attempts == 0) {
        const int until = course == FaultCourse::Ends ? kEndsAfter : watchedAttempts(operation);
        bed.afterCommand([&bed, fault, until] {
            if (bed.commands() == until)
                end(fault, bed);
        });
    }
}

Measured run(FaultBed &bed, const Operation &operation)
{
    const QuietOutput quiet;
    Measured measured;
    Outcome &outcome = measured.outcome;
    try {
        const Answer answer = operation.run(bed);
        outcome.end = answer.given ? End::Succeeds : End::Fails;
        outcome.right = answer.right;
    } catch (const boost::system::system_error &error) {
        outcome.end = End::Throws;
        measured.error = error.what();
    } catch (const FaultBed::Stuck &) {
        measured.stuck = true;
    }
    outcome.time = bed.slept();
    bed.pass(1ms); // delivers a last command that is still on the line
    outcome.attempts = bed.commands();
    return measured;
}

std::string differenceBetween(const Outcome &stated, const Measured &measured)
{
    const Outcome &seen = measured.outcome;
    std::ostringstream text;
    if (measured.stuck) {
        text << "still at it after " << seen.attempts << " commands; ";
    } else {
        const End end = stated.end == End::Waits ? End::Succeeds : stated.end;
        if (seen.end != end)
            text << "ends otherwise: " << textOf(seen) << "; ";
        if (end == End::Succeeds && seen.right != stated.right)
            text << (seen.right ? "is true; " : "is untrue; ");
        if (end == End::Throws && measured.error.rfind(stated.error, 0) != 0)
            text << "throws " << measured.error << "; ";
        if ((end == End::Fails || end == End::Throws) && seen.time != stated.time)
            text << "after " << seen.time.count() << " ms instead of " << stated.time.count()
                 << "; ";
    }
    if (stated.chance ? seen.attempts > stated.attempts : seen.attempts != stated.attempts)
        text << seen.attempts << " commands instead of " << stated.attempts << "; ";
    return text.str();
}

// Clears the new-value flags of earlier unrequested replies: the operation would accept them as its
// own reply.
void takeOldAnswers(imu &driver)
{
    driver.getBaudRate();
    driver.getDataRate();
    driver.getOutputs();
}

// --- Samples

// The time in which about eight of a million bits arrive inverted.
constexpr milliseconds kManyBits = 90'003ms;

struct SampleCount
{
    int decoded = 0;
    int sent = 0;
};

// Counts samples sent and decoded in `time`. All bytes that the device has put on the line have
// arrived at the start and at the end of that time.
SampleCount samplesIn(FaultBed &bed, milliseconds time)
{
    const auto sent = [&bed] { return static_cast<int>(bed.device().counters().samplesSent); };
    const SampleCount before{bed.samples(), sent()};
    bed.pass(time);
    return {bed.samples() - before.decoded, sent() - before.sent};
}

Flow flowOf(const SampleCount &count)
{
    if (count.decoded == 0)
        return Flow::None;
    return count.decoded == count.sent ? Flow::All : Flow::Some;
}

const char *nameOf(Flow flow)
{
    return flow == Flow::None ? "no" : flow == Flow::Some ? "some" : "all";
}

Samples measuredSamples(FaultBed &bed, Fault fault, FaultCourse course)
{
    Samples measured{};
    measured.before = flowOf(samplesIn(bed, fault == Fault::BitErrors ? kManyBits : 1003ms));
    if (course == FaultCourse::Unplugged) {
        bed.unplug();
    } else if (pullsTheCable(fault)) {
        pullTheCable(bed, fault, course);
    } else if (course == FaultCourse::Ends) {
        end(fault, bed);
        bed.pass(203ms); // a damaged packet may still swallow the packet that follows
    }
    measured.after = flowOf(samplesIn(bed, 1000ms));
    return measured;
}

std::string differenceBetween(const Samples &stated, const Samples &seen)
{
    if (agrees(stated, seen))
        return {};
    return std::string("samples: ") + nameOf(seen.before) + ", then " + nameOf(seen.after) +
           "; instead of " + nameOf(stated.before) + ", then " + nameOf(stated.after);
}

// No command has this code, so faults that apply to replies have no effect.
const Operation &listening()
{
    static const Operation operation{
        "", SERIAL_NUMBER, SuccessCriterion::Samples,   0,
        0,  0ms,           {SERIAL_NUMBER, 0, 0, 0, 0}, [](FaultBed &) {
            return Answer{}; }};
    return operation;
}

} // namespace

std::string operationMismatch(FaultBed &bed, const Operation &operation, Fault fault,
                              FaultCourse course)
{
    const Outcome stated = expected(operation, fault, course);
    if (operation.needsNewDriver)
        bed.replaceDriver();
    bed.connectToNewDevice();
    operation.prepare(bed);
    bed.pass(100ms); // drains what prepare() left on the line
    takeOldAnswers(bed.driver());
    bed.observe(operation.code);
    bed.giveUpAfter(stated.attempts + 20);
    const sim::DeviceSettings stored = bed.device().memory().flash;
    arrange(bed, operation, fault, course);
    std::string difference = differenceBetween(stated, run(bed, operation));
    if (fault == Fault::StalledOutput && !bed.hasStalled())
        difference += "no write has waited; ";
    if (pullsTheCable(fault) && bed.device().memory().flash != stored)
        difference += "has saved; ";
    return difference;
}

std::string connectingMismatch(FaultBed &bed, Fault fault, FaultCourse course)
{
    bed.plugInNewDevice();
    begin(fault, listening(), bed);
    bed.connect(FaultBed::kBaud);
    if (!bed.isConnected())
        return "is not connected";
    const Samples measured = measuredSamples(bed, fault, course);
    if (fault == Fault::MidPacket && bed.lineCounters().noHost != 1)
        return "no sample was cut";
    return differenceBetween(expectedSamples(fault, course), measured);
}

std::string streamingMismatch(FaultBed &bed, Fault fault, FaultCourse course)
{
    bed.connectToNewDevice();
    begin(fault, listening(), bed);
    bed.pass(53ms); // drains what was on the line before the fault
    const std::uint64_t damaged = bed.driver().statistics().damaged;
    const Samples measured = measuredSamples(bed, fault, course);
    if (!bed.isConnected())
        return "is not connected";
    if (fault == Fault::BitErrors && bed.driver().statistics().damaged == damaged)
        return "no packet was damaged";
    return differenceBetween(expectedSamples(fault, course), measured);
}

std::string lastingDamage(FaultBed &bed, Fault fault)
{
    imu &driver = bed.driver();
    bed.observe(0);
    end(fault, bed);
    if (bed.wasUnplugged()) {
        if (!bed.isPluggedIn())
            bed.plugIn();
        driver.disconnect();
        bed.connect(bed.device().lineBaud());
    }
    if (!bed.isConnected())
        return "not connected any more; ";
    bed.pass(fault == Fault::SlowBaud5 ? 5500ms : 300ms); // replies and baud changes still due

    const sim::DeviceSettings &settings = bed.device().memory().active;
    bed.observe(OUTPUTS);
    bed.giveUpAfter(20);
    try {
        if (!driver.loadSettings() || driver.getDataRate() != settings.rateHz ||
            static_cast<std::uint32_t>(driver.getBaudRate()) != settings.baud)
            return "settings not read; ";
        takeOldAnswers(driver);
        if (!driver.setOutputs(OUT_QUATERNION | OUT_RATES) ||
            settings.outputs != (OUT_QUATERNION | OUT_RATES))
            return "outputs not set; ";
        driver.getQuaternion();
        if (!bed.passUntil(1s, [&driver] { return !driver.getQuaternion().empty(); }))
            return "no sample; ";
    } catch (const FaultBed::Stuck &) {
        return "outputs never confirmed; ";
    }
    return {};
}

} // namespace faults
