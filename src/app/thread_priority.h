#pragma once

// Lets the other threads of the program go first: the calling thread, nice 10, gets about a tenth
// of a processor that somebody else wants, too, and all of one that nobody wants. Names it as well,
// for debuggers and process viewers. A refusal by the system is ignored: the thread then competes
// like any other.
void becomeBackgroundThread(const char *name);
