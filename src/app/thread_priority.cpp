#include "app/thread_priority.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

// Not SCHED_IDLE: on a machine that others keep busy, an idle thread may wait for seconds, longer
// than the search for a baud rate gives it to report a sample.
void becomeBackgroundThread(const char *name)
{
    constexpr int kNice = 10;
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), kNice);
    pthread_setname_np(pthread_self(), name);
}
