#pragma once

#include <string>

#include "cli/exit_status.h"
#include "cli/record_stream.h"

namespace cli {

class Runtime;

// Prints the samples of a recording as those of a device. A duration counts recorded time.
ExitStatus streamRecording(Runtime &runtime, const StreamOptions &options, const std::string &path);

} // namespace cli
