#pragma once

#include <cstdint>

#include "sim/line/simulated_time.h"

namespace sim {

// Noise as a function of seed, channel and time only. The same arguments always give the same
// value, independent of the number and order of calls. Pure: any thread.
class Noise
{
public:
    explicit Noise(std::uint64_t seed)
        : m_seed(seed)
    {
    }

    std::uint64_t bits(std::uint32_t channel, std::uint64_t tick) const;
    // In [0, 1).
    double uniform(std::uint32_t channel, std::uint64_t tick) const;
    // Mean 0, standard deviation 1.
    double gaussian(std::uint32_t channel, Time at) const;

private:
    std::uint64_t m_seed;
};

} // namespace sim
