// Device faults while the driver reads, changes, saves and resets the settings.

#include "tests/faults/operation_matrix.h"
#include "tests/fixtures/test_main.h"

struct TestFaultSettings : faults::OperationMatrix
{
    TestFaultSettings()
        : OperationMatrix(faults::settingsOperations())
    {
    }
};

VORNIX_TEST_MAIN(TestFaultSettings, QCoreApplication)
