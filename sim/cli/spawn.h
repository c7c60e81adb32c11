#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace sim {

// The direct shared-library dependencies of an executable (DT_NEEDED). Empty if the file is not an
// ELF file of the word size of this program, for example a script. No side effect except reading
// the file.
std::vector<std::string> neededLibraries(const std::string &executable);

// The LD_PRELOAD list for a command that runs in a testbed. Order: the sanitizer runtimes from
// `current` (a list in the format of LD_PRELOAD) or, if it has none, those in `needed`; then
// umockdev; then the rest of `current`. Sanitizer runtimes come first because they abort in any
// other place. Pure.
std::string preloadList(const std::string &current, const std::vector<std::string> &needed);

// Starts `command`, looked up on PATH, in the testbed of this process's environment, with no signal
// blocked. Returns the process id. Throws std::system_error.
pid_t launch(const std::vector<std::string> &command);

// The exit status that a shell reports for a status of waitpid().
int exitStatus(int waitStatus);

} // namespace sim
