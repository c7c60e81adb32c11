#pragma once

#include <string>

#include "tests/faults/fault_bed.h"
#include "tests/faults/rules.h"

namespace faults {

// Runs one operation under one fault and compares the result with rules.h. Returns the differences
// as text, empty if there are none.
std::string operationMismatch(FaultBed &bed, const Operation &operation, Fault fault,
                              FaultCourse course);
std::string connectingMismatch(FaultBed &bed, Fault fault, FaultCourse course);
std::string streamingMismatch(FaultBed &bed, Fault fault, FaultCourse course);

// Tests the driver after the fault has ended and the cable is back: a sample must arrive,
// loadSettings() must read the settings, and setOutputs() must work. Returns what fails, empty if
// all works.
std::string lastingDamage(FaultBed &bed, Fault fault);

} // namespace faults
