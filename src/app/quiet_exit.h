#pragma once

// The way out of the program. The main window's worker thread never ends, so destroying the window
// destroys a joinable thread, and the runtime calls std::terminate. Once the event loop has
// returned that is a normal end, not a crash.
namespace quiet_exit {

// Makes std::terminate leave quietly after arm(); until then it aborts as usual.
void install();

// From here on, a std::terminate on this thread that no exception caused flushes the standard
// streams and ends the process with `status`, running no further destructors. Returns `status`.
int arm(int status);

} // namespace quiet_exit
