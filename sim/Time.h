#pragma once

#include <chrono>

namespace sim {

// Time of the simulated world, counted from the moment its clock was started.
using Time = std::chrono::nanoseconds;

inline constexpr Time kNever = Time::max();

inline double seconds(Time time)
{
    return std::chrono::duration<double>(time).count();
}

} // namespace sim
