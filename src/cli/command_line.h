#pragma once

namespace cli {

// The program: parses the arguments, runs the command, and returns the exit status.
int runCommandLine(int argc, const char *const *argv);

} // namespace cli
