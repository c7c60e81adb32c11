#pragma once

// Decides whether readings determine an ellipsoid. The deviation does not show this: readings of a
// device at rest fit every ellipsoid through one point. Pure: any thread, no lock.

#include "fit/ellipsoid_fit.h"

namespace ellipsoid {

// Six numbers of the shape and three of the centre.
inline constexpr std::size_t kFewestSamples = 9;

enum class Judgement {
    Determined,
    TooFewSamples,    // fewer than kFewestSamples
    NotFinite,        // a figure of the fit is infinite or not a number
    NotAnEllipsoid,   // the shape is another surface, or a diagonal entry is not positive
    TooFewDirections, // another ellipsoid fits as well: equal readings, a line, a ring
};

// Judges the fit to these samples and the correction derived from it. Returns the first problem
// that applies, in the order of the enum, otherwise Determined.
Judgement judge(const Readings &samples, const Eigen::Matrix3f &shape,
                const Correction &correction);

} // namespace ellipsoid
