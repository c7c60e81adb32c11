#include "fit/quality_metrics.h"

#include <cmath>
#include <limits>

namespace ellipsoid {

QualityMetrics qualityMetrics(const Readings &samples, const Correction &correction)
{
    if (samples.empty()) {
        constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();
        return {kNothing, kNothing};
    }
    double sum = 0;
    double sumOfSquares = 0;
    for (const Reading &sample : samples) {
        const double length = correction.corrected(sample).norm();
        sum += length;
        sumOfSquares += length * length;
    }
    const auto count = static_cast<double>(samples.size());
    const double mean = sum / count;
    const double variance = sumOfSquares / count - mean * mean;
    // Rounding can leave a variance just below zero.
    const double deviation = variance > 0 ? std::sqrt(variance) : 0.0;
    return {static_cast<float>(mean), static_cast<float>(deviation)};
}

Verdict verdictOn(float deviation)
{
    if (deviation < 0.03F)
        return Verdict::Good;
    return deviation < 0.08F ? Verdict::Acceptable : Verdict::Bad;
}

} // namespace ellipsoid
