// Device faults while the driver changes the baud rate.

#include "tests/faults/operation_matrix.h"
#include "tests/fixtures/test_main.h"

struct TestFaultLink : faults::OperationMatrix
{
    TestFaultLink()
        : OperationMatrix(faults::linkOperations())
    {
    }
};

VORNIX_TEST_MAIN(TestFaultLink, QCoreApplication)
