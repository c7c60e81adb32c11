#include "app/thread_priority.h"

#include <thread>

#include <pthread.h>
#include <sched.h>

#include <QTest>

class TestThreadPriority : public QObject
{
    Q_OBJECT

private slots:
    void onlyTheCallingThreadBecomesIdle()
    {
        int policy = -1;
        char name[16] = "";
        std::thread([&] {
            becomeIdleThread("vornix-data");
            policy = sched_getscheduler(0);
            pthread_getname_np(pthread_self(), name, sizeof name);
        }).join();
        QCOMPARE(policy, SCHED_IDLE);
        QCOMPARE(name, "vornix-data");
        QCOMPARE(sched_getscheduler(0), SCHED_OTHER);
    }
};

QTEST_APPLESS_MAIN(TestThreadPriority)
#include "test_thread_priority.moc"
