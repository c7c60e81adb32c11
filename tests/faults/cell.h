#pragma once

#include "tests/faults/fault_bed.h"
#include "tests/faults/rules.h"

#include <string>

namespace faults {

// Runs one operation under one fault and compares the result with rules.h. Returns the differences
// as text, empty if there are none.
std::string differenceIn(FaultBed &bed, const Operation &operation, Fault fault, Fate fate);
std::string differenceInConnecting(FaultBed &bed, Fault fault, Fate fate);
std::string differenceInStreaming(FaultBed &bed, Fault fault, Fate fate);

// Tests the driver after the fault has ended and the cable is back: a sample must arrive,
// loadSettings() must read the settings, and setOutputs() must work. Returns what fails, empty if
// all works.
std::string harmLeftBy(FaultBed &bed, Fault fault);

} // namespace faults
