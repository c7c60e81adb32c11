#include "tests/faults/operation_matrix.h"

#include "tests/faults/cell.h"
#include "tests/faults/deadline.h"

#include <QTest>

namespace faults {

OperationMatrix::OperationMatrix(const std::vector<Operation> &operations)
    : m_operations(operations)
{
}

void OperationMatrix::cell_data()
{
    QTest::addColumn<std::size_t>("operation");
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<Fate>("fate");
    for (std::size_t i = 0; i < m_operations.size(); ++i) {
        for (const Fault fault : allFaults()) {
            for (const Fate fate : allFates())
                QTest::addRow("%s: %s, %s", m_operations[i].name, nameOf(fault), nameOf(fate))
                    << i << fault << fate;
        }
    }
}

void OperationMatrix::cell()
{
    QFETCH(std::size_t, operation);
    QFETCH(Fault, fault);
    QFETCH(Fate, fate);

    const Deadline deadline;
    const std::string difference = differenceIn(m_bed, m_operations[operation], fault, fate);
    const std::string harm = harmLeftBy(m_bed, fault);
    QVERIFY2(difference.empty(), difference.c_str());
    QVERIFY2(harm.empty(), harm.c_str());
}

} // namespace faults
