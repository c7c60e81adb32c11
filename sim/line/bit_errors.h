#pragma once

#include <cstdint>
#include <vector>

#include "sim/line/noise.h"

namespace sim {

// Bit errors of a line at a mean rate, independent of each other. Between two errors it draws the
// number of intact bits, so a low rate costs no time per bit. Not thread-safe.
class BitErrors
{
public:
    explicit BitErrors(std::uint64_t seed)
        : m_noise(seed)
    {
    }

    // Inverts bits of `bytes`, each with probability `rate`, 0 to 1.
    void apply(std::vector<unsigned char> &bytes, double rate);

private:
    std::uint64_t drawGap();

    Noise m_noise;
    std::uint64_t m_tick = 0;
    double m_rate = 0;
    std::uint64_t m_intactBits = 0; // before the next error
};

} // namespace sim
