// Device faults before connecting and during the stream.

#include "tests/faults/cell.h"
#include "tests/faults/deadline.h"
#include "tests/support/test_main.h"

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
    QTest::addColumn<Fate>("fate");
    for (const Fault fault : allFaults()) {
        for (const Fate fate : allFates())
            QTest::addRow("%s, %s", nameOf(fault), nameOf(fate)) << fault << fate;
    }
}

void TestFaultStream::connecting()
{
    QFETCH(Fault, fault);
    QFETCH(Fate, fate);

    const Deadline deadline;
    const std::string difference = differenceInConnecting(m_bed, fault, fate);
    const std::string harm = harmLeftBy(m_bed, fault);
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
    QFETCH(Fate, fate);

    const Deadline deadline;
    const std::string difference = differenceInStreaming(m_bed, fault, fate);
    const std::string harm = harmLeftBy(m_bed, fault);
    QVERIFY2(difference.empty(), difference.c_str());
    QVERIFY2(harm.empty(), harm.c_str());
}

VORNIX_TEST_MAIN(TestFaultStream, QCoreApplication)
#include "test_fault_stream.moc"
