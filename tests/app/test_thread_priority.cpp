#include <algorithm>
#include <thread>

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

#include <QTest>

#include "app/thread_priority.h"

class TestThreadPriority : public QObject
{
    Q_OBJECT

private slots:
    void onlyTheCallingThreadLosesPriority()
    {
        const int before = getpriority(PRIO_PROCESS, 0);
        int nice = -1;
        int policy = -1;
        char name[16] = "";
        std::thread([&] {
            becomeBackgroundThread("vornix-data");
            nice = getpriority(PRIO_PROCESS, 0);
            policy = sched_getscheduler(0);
            pthread_getname_np(pthread_self(), name, sizeof name);
        }).join();
        QCOMPARE(nice, std::max(before, 10));
        QCOMPARE(policy, SCHED_OTHER);
        QCOMPARE(name, "vornix-data");
        QCOMPARE(getpriority(PRIO_PROCESS, 0), before);
    }
};

QTEST_APPLESS_MAIN(TestThreadPriority)
#include "test_thread_priority.moc"
