#pragma once

#include "sim/options.h"

namespace sim {

// Serves as the configuration says until the command ends or, without one, until SIGINT or SIGTERM
// arrives. Returns the exit status. Call before any other thread was started: it blocks the
// signals it waits for. Throws what making ptys, testbeds and processes throws.
int serve(const Configuration &configuration);

} // namespace sim
