#include "views/angle_history.h"

#include <algorithm>
#include <cmath>

float unwrapped(float angleDeg, float previousDeg)
{
    constexpr float kTurn = 360.0F;
    const float distance = angleDeg - previousDeg;
    const float here = std::fabs(distance);
    const float turnUp = std::fabs(distance + kTurn);
    const float turnDown = std::fabs(distance - kTurn);
    if (turnUp > here && turnDown > here)
        return angleDeg;
    return turnDown > turnUp ? angleDeg + kTurn : angleDeg - kTurn;
}

AngleHistory::AngleHistory(int capacity)
{
    resize(capacity);
}

std::span<const float> AngleHistory::samples(int series) const
{
    const QList<float> &buffer = m_buffers[static_cast<std::size_t>(series)];
    return {buffer.constData(), static_cast<std::size_t>(m_count)};
}

// While filling, the neighbour is the zero in the last slot, so the first samples are unwrapped
// against 0; once full, it is the previous sample.
std::array<float, AngleHistory::kSeries>
AngleHistory::append(const std::array<float, kSeries> &anglesDeg)
{
    const bool full = m_count >= m_capacity;
    const int slot = full ? m_capacity - 1 : m_count;
    std::array<float, kSeries> stored{};
    for (std::size_t i = 0; i < m_buffers.size(); ++i) {
        QList<float> &buffer = m_buffers[i];
        stored[i] = unwrapped(anglesDeg[i], buffer.constLast());
        if (full)
            std::copy(buffer.cbegin() + 1, buffer.cend(), buffer.begin());
        buffer[slot] = stored[i];
    }
    if (!full)
        ++m_count;
    return stored;
}

float AngleHistory::largestMagnitude(float floor) const
{
    for (int series = 0; series < kSeries; ++series) {
        for (const float sample : samples(series))
            floor = std::max(floor, std::fabs(sample)); // in this order NaN never wins
    }
    return floor;
}

void AngleHistory::clear()
{
    resize(m_capacity);
}

void AngleHistory::resize(int capacity)
{
    m_capacity = capacity;
    m_count = 0;
    for (QList<float> &buffer : m_buffers)
        buffer.fill(0.0F, capacity);
}
