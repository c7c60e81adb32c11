// Collecting, downloading and applying a calibration with a unit that errs.

#include "tests/faults/operation_matrix.h"
#include "tests/support/test_main.h"

struct TestFaultCalibration : faults::OperationMatrix
{
    TestFaultCalibration()
        : OperationMatrix(faults::calibrationOperations())
    {
    }
};

VORNIX_TEST_MAIN(TestFaultCalibration, QCoreApplication)
