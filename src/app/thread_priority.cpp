#include "app/thread_priority.h"

#include <algorithm>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

// Not SCHED_IDLE: on a busy machine an idle thread may wait for seconds, longer than the search for
// a baud rate waits for a sample.
void becomeBackgroundThread(const char *name)
{
    constexpr int kNice = 10;
    const auto thread = static_cast<id_t>(::gettid());
    // Keeps a higher nice value that the program was started with.
    ::setpriority(PRIO_PROCESS, thread, std::max(kNice, ::getpriority(PRIO_PROCESS, thread)));
    pthread_setname_np(pthread_self(), name);
}
