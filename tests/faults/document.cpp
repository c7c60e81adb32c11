#include "tests/faults/document.h"

#include "tests/faults/rules.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace faults {

namespace {

constexpr const char *kIntroduction = R"(# Faults and what the driver makes of them

Every operation of the driver under every fault of the simulated unit. The tables are written by
`test_fault_document` from the rules in `tests/faults/rules.cpp`; the programs `test_fault_*` try
each cell with the driver on a pseudo-terminal and compare result, number of commands and time.
After each cell the fault is ended, the cable put back, and the driver must get samples, read the
settings and change one.

**Fault ends** means: once the third command of the operation has been heard. **Fault stays**: as
long as the operation goes on. **Unplugged**: in the first attempt, before it could be answered.

- **succeeds at attempt N**: says that it is done, having sent the command N times.
- **succeeds, sooner or later**: as often as chance has it; seen within 60 attempts.
- **untrue**: it says that it is done, and what was set is not, or what was read is wrong.
- **fails**: returns false, 0 or nothing, after that many attempts and that time.
- **waits**: asks again for as long as the fault stays, and succeeds when it ends. Seen for 110
  attempts, or 25 where one takes more than half a second.
- **throws**: the error's word, and when. The line is gone; what notices is the next write, or
  the next opening.

A flag says that a reply came, and stays until somebody takes it. So a reply with another value is
looked at again by the next attempt at once, which is why such operations need one attempt more
once the unit is well. The flags of a zero threshold and of a calibration are never taken: from the
second time on, a driver that sets a zero threshold takes the earlier reply for the new one.
)";

constexpr const char *kSamplesIntroduction = R"(
## connect, and the stream after it

No command is sent, so faults of replies do no harm. `connect` succeeds whatever the unit does,
unless the path is gone (throws "open"). Unplugged: samples end, and nothing else is noticed; the
next write throws.

| fault | samples while it lasts | after it has ended |
|---|---|---|
)";

using Names = std::vector<Fault>;

// Rows with equal text are merged into one.
template <typename Text>
void writeRows(std::ostream &out, Text text)
{
    std::vector<std::pair<std::string, Names>> rows;
    for (const Fault fault : allFaults()) {
        const std::string said = text(fault);
        const auto row = std::find_if(rows.begin(), rows.end(),
                                      [&said](const auto &other) { return other.first == said; });
        if (row != rows.end())
            row->second.push_back(fault);
        else
            rows.push_back({said, {fault}});
    }
    for (const auto &[said, names] : rows) {
        out << "| ";
        for (std::size_t i = 0; i < names.size(); ++i)
            out << (i == 0 ? "" : "; ") << nameOf(names[i]);
        out << " | " << said << " |\n";
    }
}

void writeOperation(std::ostream &out, const Operation &operation)
{
    out << "\n## " << operation.name
        << "\n\nUnplugged: " << textOf(expected(operation, Fault::None, Fate::Unplugged))
        << ".\n\n| fault | ends | stays |\n|---|---|---|\n";
    writeRows(out, [&operation](Fault fault) {
        return textOf(expected(operation, fault, Fate::Ends)) + " | " +
               textOf(expected(operation, fault, Fate::Stays));
    });
}

const char *textOf(Flow flow)
{
    switch (flow) {
    case Flow::None:
        return "none";
    case Flow::Some:
        return "some";
    case Flow::All:
        return "all";
    }
    return "";
}

} // namespace

std::string document()
{
    std::ostringstream out;
    out << kIntroduction << kSamplesIntroduction;
    writeRows(out, [](Fault fault) {
        const Samples samples = expectedSamples(fault, Fate::Ends);
        return std::string(textOf(samples.before)) + " | " + textOf(samples.after);
    });
    for (const auto *operations :
         {&linkOperations(), &settingsOperations(), &calibrationOperations()}) {
        for (const Operation &operation : *operations)
            writeOperation(out, operation);
    }
    return out.str();
}

} // namespace faults
