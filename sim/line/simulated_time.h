#pragma once

#include <chrono>

namespace sim {

// Simulated time since the start of its clock.
using Time = std::chrono::nanoseconds;

inline constexpr Time kNever = Time::max();

inline double seconds(Time time)
{
    return std::chrono::duration<double>(time).count();
}

} // namespace sim
