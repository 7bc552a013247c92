#pragma once

#include <QtTest>

// What a test waits for comes when it comes. Qt Test gives up after five seconds, which a busy neighbour can take away
// from a program that is only starting; the limit is there for what never comes, and may be far.
constexpr int qTryPatienceMs = 30'000;

#undef QTRY_VERIFY
#undef QTRY_VERIFY2
#undef QTRY_COMPARE
#define QTRY_VERIFY(expression) QTRY_VERIFY_WITH_TIMEOUT((expression), qTryPatienceMs)
#define QTRY_VERIFY2(expression, message) QTRY_VERIFY2_WITH_TIMEOUT((expression), message, qTryPatienceMs)
#define QTRY_COMPARE(expression, expected) QTRY_COMPARE_WITH_TIMEOUT(expression, expected, qTryPatienceMs)
