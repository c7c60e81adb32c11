#include "sim/line/bit_errors.h"

#include <cmath>

namespace sim {

namespace {

constexpr double kMostBits = 1e15;

} // namespace

std::uint64_t BitErrors::drawGap()
{
    if (m_rate >= 1)
        return 0;
    // 1 - u is never 0, so the logarithm is finite.
    const double gap = std::log(1.0 - m_noise.uniform(0, m_tick++)) / std::log1p(-m_rate);
    return static_cast<std::uint64_t>(std::fmin(gap, kMostBits));
}

void BitErrors::apply(std::vector<unsigned char> &bytes, double rate)
{
    if (rate != m_rate) {
        m_rate = rate;
        m_intactBits = rate > 0 ? drawGap() : 0;
    }
    if (rate <= 0)
        return;
    const std::uint64_t bits = 8 * std::uint64_t{bytes.size()};
    std::uint64_t at = m_intactBits;
    for (; at < bits; at += 1 + drawGap())
        bytes[at / 8] = static_cast<unsigned char>(bytes[at / 8] ^ (1U << at % 8));
    m_intactBits = at - bits;
}

} // namespace sim
