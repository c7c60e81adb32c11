#pragma once

// Measures how well a correction maps raw readings onto the unit sphere. Pure: any thread, no lock.

#include "fit/ellipsoid_fit.h"

namespace ellipsoid {

// Mean and standard deviation of the corrected lengths; both NaN without samples.
struct QualityMetrics
{
    float mean;
    float deviation;
};
QualityMetrics qualityMetrics(const Readings &samples, const Correction &correction);

enum class Verdict { Good, Acceptable, Bad };

// Uses only the deviation, because the mean of a good fit is always 1. NaN is bad.
Verdict verdictOn(float deviation);

} // namespace ellipsoid
