// Device faults while the driver collects, downloads and applies a calibration.

#include "tests/faults/operation_matrix.h"
#include "tests/fixtures/test_main.h"

struct TestFaultCalibration : faults::OperationMatrix
{
    TestFaultCalibration()
        : OperationMatrix(faults::calibrationOperations())
    {
    }
};

VORNIX_TEST_MAIN(TestFaultCalibration, QCoreApplication)
