// Changing the speed of the line to a unit that errs.

#include "tests/faults/operation_matrix.h"
#include "tests/support/test_main.h"

struct TestFaultLink : faults::OperationMatrix
{
    TestFaultLink()
        : OperationMatrix(faults::linkOperations())
    {
    }
};

VORNIX_TEST_MAIN(TestFaultLink, QCoreApplication)
