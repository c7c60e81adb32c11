#include <utility>

#include <QTest>

#include "app/backlog_trimmer.h"

class TestBacklogTrimmer : public QObject
{
    Q_OBJECT

private slots:
    // The clock advances by stepMs between the first two readings.
    void trimsOnceAfterALongBlock_data()
    {
        QTest::addColumn<qint64>("stepMs");
        QTest::addColumn<bool>("trims");
        QTest::newRow("as ever") << qint64(1000) << false;
        QTest::newRow("a loaded machine") << qint64(5000) << false;
        QTest::newRow("blocked") << qint64(5001) << true;
        QTest::newRow("blocked for long") << qint64(90000) << true;
    }

    void trimsOnceAfterALongBlock()
    {
        QFETCH(qint64, stepMs);
        QFETCH(bool, trims);
        qint64 nowMs = 0;
        qint64 nextStepMs = stepMs;
        int looks = 0;
        int trimmed = 0;
        const auto clock = [&] {
            if (looks++ > 0)
                nowMs += std::exchange(nextStepMs, 1000); // one long step, then 1 s each
            return nowMs;
        };
        BacklogTrimmer trimmer(nullptr, clock, [&] { ++trimmed; });
        QTRY_VERIFY_WITH_TIMEOUT(looks >= 4, 60000);
        QCOMPARE(trimmed, trims ? 1 : 0);
    }
};

QTEST_GUILESS_MAIN(TestBacklogTrimmer)
#include "test_backlog_trimmer.moc"
