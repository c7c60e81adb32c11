#pragma once

// Lowers the priority of the calling thread to nice 10. It then gets about a tenth of a processor
// that another thread also needs, and all of an idle one. Also names the thread, for debuggers and
// process viewers. If the system refuses, the priority stays as it is and no error is reported.
void becomeBackgroundThread(const char *name);
