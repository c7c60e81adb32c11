#pragma once

#include <array>
#include <span>

#include <QList>

// The last samples of roll, pitch and yaw in degrees, unwrapped so that a curve is continuous where
// it crosses +-180. Every buffer holds exactly capacity() values, of which the first count() are
// samples; the rest are 0. Appending does not allocate.
class AngleHistory
{
public:
    static constexpr int kSeries = 3; // roll, pitch, yaw

    explicit AngleHistory(int capacity);

    int capacity() const { return m_capacity; }
    int count() const { return m_count; }

    // Oldest first, count() values. Valid until the next change.
    std::span<const float> samples(int series) const;

    // Unwraps and stores one sample, dropping the oldest once full; returns the stored values.
    std::array<float, kSeries> append(const std::array<float, kSeries> &anglesDeg);

    // The largest |sample|, at least `floor`; a NaN sample never raises it.
    float largestMagnitude(float floor) const;

    void clear();
    void resize(int capacity); // clears, too

private:
    int m_capacity = 0;
    int m_count = 0;
    std::array<QList<float>, kSeries> m_buffers;
};

// Returns `angleDeg`, moved by one turn if that brings it at least as near to `previousDeg`. An
// equal distance counts as nearer, and so does a NaN distance, because NaN must not stop a plot.
float unwrapped(float angleDeg, float previousDeg);
