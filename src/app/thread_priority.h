#pragma once

// Moves the calling thread behind every other: it gets a processor when nobody else wants one, and
// gives it back at once. Names it too, for debuggers and process viewers. A refusal by the system
// is ignored: the thread then competes like any other.
void becomeIdleThread(const char *name);
