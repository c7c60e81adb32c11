#pragma once

#include <QObject>

#include "tests/faults/fault_bed.h"
#include "tests/faults/operation.h"

namespace faults {

// Runs every operation of a list under every fault with every course, and tests afterwards that the
// driver works as before. One row per combination.
class OperationMatrix : public QObject
{
    Q_OBJECT

public:
    explicit OperationMatrix(const std::vector<Operation> &operations);

private slots:
    void cell_data();
    void cell();

private:
    const std::vector<Operation> &m_operations;
    FaultBed m_bed;
};

} // namespace faults
