#include <thread>

#include <QTest>

#include "app/trial_sample_flag.h"
#include "tests/fixtures/wait_limit.h"

class TestTrialSampleFlag : public QObject
{
    Q_OBJECT

private slots:
    void startsUnset() { QVERIFY(!TrialSampleFlag().isSet()); }

    void isSetByASampleOfThisTrialAndCleared()
    {
        TrialSampleFlag flag;
        flag.set(flag.current());
        QVERIFY(flag.isSet());
        flag.clear();
        QVERIFY(!flag.isSet());
    }

    void aLateReportOfAnEarlierTrialDoesNotCount()
    {
        TrialSampleFlag flag;
        const TrialSampleFlag::Trial asked = flag.current();
        flag.clear();
        flag.set(asked);
        QVERIFY(!flag.isSet());
        flag.set(flag.current());
        QVERIFY(flag.isSet());
    }

    // A sampling thread that runs without a pause must not undo a clear(), and must not set a
    // trial's flag with a ticket of an earlier trial.
    void clearHoldsAgainstAnotherThread()
    {
        TrialSampleFlag flag;
        std::atomic<bool> stop{false};
        std::atomic<TrialSampleFlag::Trial> allowed{flag.current()};
        std::thread sampler([&] {
            while (!stop) {
                const TrialSampleFlag::Trial trial = flag.current();
                if (trial == allowed)
                    flag.set(trial);
            }
        });
        for (int i = 0; i < 1000; ++i) {
            flag.clear();
            QVERIFY(!flag.isSet());
            allowed = flag.current();
            QTRY_VERIFY(flag.isSet());
        }
        stop = true;
        sampler.join();
    }
};

QTEST_GUILESS_MAIN(TestTrialSampleFlag)
#include "test_trial_sample_flag.moc"
