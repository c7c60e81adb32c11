#pragma once

#include <QTest>

#include <chrono>

// The build includes this header first in every test program.
//
// How long a test waits for a condition. The wait ends as soon as the condition holds, so the time
// matters only for a failing test. It is long enough for a busy machine.
inline constexpr std::chrono::milliseconds kPatience{60'000};
inline constexpr int kPatienceMs = 60'000;

// The default limit of Qt Test is five seconds; a busy machine may need more.
#undef QTRY_VERIFY
#undef QTRY_VERIFY2
#undef QTRY_COMPARE
#define QTRY_VERIFY(expression) QTRY_VERIFY_WITH_TIMEOUT((expression), kPatienceMs)
#define QTRY_VERIFY2(expression, text) QTRY_VERIFY2_WITH_TIMEOUT((expression), (text), kPatienceMs)
#define QTRY_COMPARE(actual, expected) QTRY_COMPARE_WITH_TIMEOUT((actual), (expected), kPatienceMs)
