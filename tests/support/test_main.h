#pragma once

#include <QTest>

#include <cstdio>
#include <cstdlib>

// The main() of a test program that must end without running destructors: a driver's reader thread
// never stops, and destroying a main window ends the process by design.
//
//     VORNIX_TEST_MAIN(TestMainWindow, QApplication)
#define VORNIX_TEST_MAIN(TestClass, Application)                                                   \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        Application application(argc, argv);                                                       \
        TestClass test;                                                                            \
        const int failures = QTest::qExec(&test, argc, argv);                                      \
        std::fflush(nullptr);                                                                      \
        std::_Exit(failures);                                                                      \
    }
