// Reading, changing, saving and resetting the settings of a unit that errs.

#include "tests/faults/operation_matrix.h"
#include "tests/support/test_main.h"

struct TestFaultSettings : faults::OperationMatrix
{
    TestFaultSettings()
        : OperationMatrix(faults::settingsOperations())
    {
    }
};

VORNIX_TEST_MAIN(TestFaultSettings, QCoreApplication)
