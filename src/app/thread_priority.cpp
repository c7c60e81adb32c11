#include "app/thread_priority.h"

#include <pthread.h>
#include <sched.h>

void becomeIdleThread(const char *name)
{
    const sched_param none{};
    pthread_setschedparam(pthread_self(), SCHED_IDLE, &none);
    pthread_setname_np(pthread_self(), name);
}
