#pragma once

// Normal end of the program. The main window's worker thread never ends, so destroying the window
// destroys a joinable thread, and the runtime calls std::terminate. After the event loop has
// returned, that is a normal end, not a crash.
namespace quiet_exit {

// Installs a terminate handler that exits normally after exitOnTerminate(). Until then
// std::terminate aborts as usual.
void install();

// After this call, std::terminate on this thread without a current exception flushes the standard
// streams and ends the process with `status`, without running further destructors. Returns
// `status`.
int exitOnTerminate(int status);

} // namespace quiet_exit
