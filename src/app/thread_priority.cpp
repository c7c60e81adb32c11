#include "app/thread_priority.h"

#include <algorithm>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

// Not SCHED_IDLE: on a machine that others keep busy, an idle thread may wait for seconds, longer
// than the search for a baud rate gives it to report a sample.
void becomeBackgroundThread(const char *name)
{
    constexpr int kNice = 10;
    const auto thread = static_cast<id_t>(::gettid());
    // A program that was itself started nicer than that stays so.
    ::setpriority(PRIO_PROCESS, thread, std::max(kNice, ::getpriority(PRIO_PROCESS, thread)));
    pthread_setname_np(pthread_self(), name);
}
