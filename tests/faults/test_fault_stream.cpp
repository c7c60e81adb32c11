// Device faults before connecting and during the stream.

#include "tests/faults/cell.h"
#include "tests/faults/deadline.h"
#include "tests/fixtures/test_main.h"

using namespace faults;

class TestFaultStream : public QObject
{
    Q_OBJECT

private slots:
    void connecting_data();
    void connecting();
    void streaming_data();
    void streaming();

private:
    FaultBed m_bed;
};

void TestFaultStream::connecting_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<FaultCourse>("course");
    for (const Fault fault : allFaults()) {
        for (const FaultCourse course : coursesOf(fault))
            QTest::addRow("%s, %s", nameOf(fault), nameOf(course)) << fault << course;
    }
}

void TestFaultStream::connecting()
{
    QFETCH(Fault, fault);
    QFETCH(FaultCourse, course);

    const Deadline deadline;
    const std::string difference = connectingMismatch(m_bed, fault, course);
    const std::string harm = lastingDamage(m_bed, fault);
    QVERIFY2(difference.empty(), difference.c_str());
    QVERIFY2(harm.empty(), harm.c_str());
}

void TestFaultStream::streaming_data()
{
    connecting_data();
}

void TestFaultStream::streaming()
{
    QFETCH(Fault, fault);
    QFETCH(FaultCourse, course);

    const Deadline deadline;
    const std::string difference = streamingMismatch(m_bed, fault, course);
    const std::string harm = lastingDamage(m_bed, fault);
    QVERIFY2(difference.empty(), difference.c_str());
    QVERIFY2(harm.empty(), harm.c_str());
}

VORNIX_TEST_MAIN(TestFaultStream, QCoreApplication)
#include "test_fault_stream.moc"
