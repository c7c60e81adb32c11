// Linked into every program of a coverage build, with --wrap for these two functions. Coverage
// counts are written only on a normal exit, but most programs here exit otherwise: reader threads
// never stop, and the worker thread of the main window ends with the process.
//
// A process ended by a signal (an abort, SIGKILL, a crash) still writes no counts.

extern "C" {

void __gcov_dump();
[[noreturn]] void __real__exit(int status);
[[noreturn]] void __real__Exit(int status);

[[noreturn]] void __wrap__exit(int status)
{
    __gcov_dump();
    __real__exit(status);
}

[[noreturn]] void __wrap__Exit(int status)
{
    __gcov_dump();
    __real__Exit(status);
}

} // extern "C"
