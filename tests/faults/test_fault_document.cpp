// docs/fault-matrix.md lists the outcomes that the matrix tests expect. This program writes the
// document into the build directory. If the two differ, review the difference and copy the new file
// to docs/.

#include "tests/faults/document.h"
#include "tests/faults/rules.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

class TestFaultDocument : public QObject
{
    Q_OBJECT

private slots:
    void isUpToDate();
    void everyFaultHasTheSameOutcomeWhenUnplugged();
};

void TestFaultDocument::isUpToDate()
{
    const QByteArray made = QByteArray::fromStdString(faults::document());
    const QString copyName = QStringLiteral(VORNIX_BINARY_DIR "/fault-matrix.md");
    QFile copy(copyName);
    QVERIFY(copy.open(QIODevice::WriteOnly));
    QCOMPARE(copy.write(made), made.size());

    QFile committed(QStringLiteral(VORNIX_SOURCE_DIR "/docs/fault-matrix.md"));
    QVERIFY(committed.open(QIODevice::ReadOnly));
    const QString advice = u"docs/fault-matrix.md differs from "_s + copyName;
    QVERIFY2(committed.readAll() == made, qPrintable(advice));
}

// All faults have the same outcome when the cable is unplugged: the document has one line for them.
void TestFaultDocument::everyFaultHasTheSameOutcomeWhenUnplugged()
{
    using namespace faults;
    for (const auto *operations :
         {&linkOperations(), &settingsOperations(), &calibrationOperations()}) {
        for (const Operation &operation : *operations) {
            const std::string said = textOf(expected(operation, Fault::None, Fate::Unplugged));
            for (const Fault fault : allFaults())
                QCOMPARE(textOf(expected(operation, fault, Fate::Unplugged)), said);
        }
    }
}

QTEST_APPLESS_MAIN(TestFaultDocument)
#include "test_fault_document.moc"
