#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace sim {

// The shared libraries an executable asks for by itself; empty if it is no ELF file of this
// machine's kind, such as a script. Pure but for reading the file.
std::vector<std::string> neededLibraries(const std::string &executable);

// The preload list for a command that shall live in a testbed: sanitizer runtimes first, because
// they refuse to run behind anything else, whether they were in `current` (a list as LD_PRELOAD
// holds it) already or the command needs them; then umockdev; then the rest. Pure.
std::string preloadList(const std::string &current, const std::vector<std::string> &needed);

// Starts `command`, found on PATH, in the testbed of this process's environment, with no signal
// blocked. Throws std::system_error.
pid_t launch(const std::vector<std::string> &command);

// The exit status a shell would report for what waitpid() said.
int exitStatus(int waitStatus);

} // namespace sim
