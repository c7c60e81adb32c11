#pragma once

#include "tests/faults/fault_bed.h"
#include "tests/faults/rules.h"

#include <string>

namespace faults {

// Tries one operation under one fault, and compares with what the rules say. Returns what differs;
// nothing if all is as stated.
std::string differenceIn(FaultBed &bed, const Operation &operation, Fault fault, Fate fate);
std::string differenceInConnecting(FaultBed &bed, Fault fault, Fate fate);
std::string differenceInStreaming(FaultBed &bed, Fault fault, Fate fate);

// What is wrong with the driver once the fault is over and the cable back: a sample has to arrive,
// all settings to be read, one to be set. Nothing if it is as good as new.
std::string harmLeftBy(FaultBed &bed, Fault fault);

} // namespace faults
