// Linked into every program of a coverage build, with --wrap for these two: what a program counted
// is written when it ends normally, and most of ours end without: readers never stop, and the main
// window's worker ends with the process.
//
// What a signal ends (an abort, SIGKILL, a crash) still counts nothing.

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
