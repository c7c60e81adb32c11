#pragma once

#include <cstdio>
#include <cstdlib>

// What must hold of every input. Ends the process as a crash would, so that the fuzzer keeps the
// input; never compiled out.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);    \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)
