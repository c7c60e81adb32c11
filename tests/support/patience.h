#pragma once

#include <QTest>

#include <chrono>

// Every test program is compiled with this header in front.
//
// How long a test waits for a condition. The wait ends as soon as the condition holds, so this is
// only how long a test takes to fail; it is long enough for a machine with many other things to do.
inline constexpr std::chrono::milliseconds kPatience{60'000};
inline constexpr int kPatienceMs = 60'000;

// Qt Test gives up after five seconds, which such a machine may need.
#undef QTRY_VERIFY
#undef QTRY_VERIFY2
#undef QTRY_COMPARE
#define QTRY_VERIFY(expression) QTRY_VERIFY_WITH_TIMEOUT((expression), kPatienceMs)
#define QTRY_VERIFY2(expression, text) QTRY_VERIFY2_WITH_TIMEOUT((expression), (text), kPatienceMs)
#define QTRY_COMPARE(actual, expected) QTRY_COMPARE_WITH_TIMEOUT((actual), (expected), kPatienceMs)
