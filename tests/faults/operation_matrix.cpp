#include "tests/faults/operation_matrix.h"

#include <QTest>

#include "tests/faults/cell.h"
#include "tests/faults/deadline.h"

namespace faults {

OperationMatrix::OperationMatrix(const std::vector<Operation> &operations)
    : m_operations(operations)
{
}

void OperationMatrix::cell_data()
{
    QTest::addColumn<std::size_t>("operation");
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<FaultCourse>("course");
    for (std::size_t i = 0; i < m_operations.size(); ++i) {
        for (const Fault fault : allFaults()) {
            for (const FaultCourse course : coursesOf(fault))
                QTest::addRow("%s: %s, %s", m_operations[i].name, nameOf(fault), nameOf(course))
                    << i << fault << course;
        }
    }
}

void OperationMatrix::cell()
{
    QFETCH(std::size_t, operation);
    QFETCH(Fault, fault);
    QFETCH(FaultCourse, course);

    const Deadline deadline;
    const std::string difference = operationMismatch(m_bed, m_operations[operation], fault, course);
    const std::string harm = lastingDamage(m_bed, fault);
    QVERIFY2(difference.empty(), difference.c_str());
    QVERIFY2(harm.empty(), harm.c_str());
}

} // namespace faults
