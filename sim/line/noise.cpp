#include "sim/line/noise.h"

#include <cmath>
#include <numbers>

namespace sim {

namespace {

// The finaliser of SplitMix64, a bit mixer: every input bit affects every output bit.
std::uint64_t mix(std::uint64_t x)
{
    x += 0x9E3779B97F4A7C15U;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9U;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBU;
    return x ^ (x >> 31);
}

} // namespace

std::uint64_t Noise::bits(std::uint32_t channel, std::uint64_t tick) const
{
    return mix(mix(mix(m_seed) ^ channel) ^ tick);
}

double Noise::uniform(std::uint32_t channel, std::uint64_t tick) const
{
    return static_cast<double>(bits(channel, tick) >> 11) * 0x1p-53;
}

double Noise::gaussian(std::uint32_t channel, Time at) const
{
    const auto tick = static_cast<std::uint64_t>(at.count());
    // 1 - u is never 0, so the logarithm is finite.
    const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform(2 * channel, tick)));
    return radius * std::cos(2.0 * std::numbers::pi * uniform(2 * channel + 1, tick));
}

} // namespace sim
