#include "app/quiet_exit.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>

#include <unistd.h>

namespace quiet_exit {
namespace {

// Thread-local: a terminate on any other thread is a failure at any time.
thread_local std::optional<int> t_status;
std::terminate_handler g_previous = nullptr;

[[noreturn]] void terminate()
{
    if (t_status && !std::current_exception()) {
        std::cout.flush();
        std::fflush(nullptr);
        ::_exit(*t_status);
    }
    if (g_previous)
        g_previous();
    std::abort();
}

} // namespace

void install()
{
    g_previous = std::set_terminate(terminate);
}

int exitOnTerminate(int status)
{
    t_status = status;
    return status;
}

} // namespace quiet_exit
