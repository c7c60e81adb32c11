#pragma once

#include <cstdio>
#include <cstdlib>

// Checks a condition that holds for every input. A failure aborts the process, so that the fuzzer
// keeps the input. Never compiled out.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);    \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)
