// Device faults while the driver changes the baud rate.

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
