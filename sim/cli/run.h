#pragma once

#include "sim/cli/options.h"

namespace sim {

// Runs the configured simulated devices until the command ends or, without a command, until SIGINT
// or SIGTERM arrives. Returns the exit status. Call before any other thread starts, because it
// blocks the signals that it waits for. Passes on the exceptions from creating ptys, testbeds and
// processes; throws std::runtime_error if the recording cannot be read or written.
int serve(const Configuration &configuration);

} // namespace sim
