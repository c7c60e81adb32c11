#pragma once

// Fits an ellipsoid without a first guess, by one linear system in double precision. It needs no
// bounding box, so it also fits readings of a few directions only, where the box is wrong. Pure:
// any thread, no lock.

#include <optional>

#include "fit/ellipsoid_fit.h"

namespace ellipsoid {

// The ellipsoid (p - centre)^T shape (p - centre) = 1, in the units of the readings.
struct Surface
{
    Eigen::Matrix3d shape; // symmetric and positive definite
    Eigen::Vector3d centre;
};

// Least squares of the algebraic distance. None for fewer than nine readings, for values that are
// not finite, and where the surface that fits best is not an ellipsoid.
std::optional<Surface> algebraicStart(const Readings &samples);

// Starts algebraically and refines by the iterations of fit(). The refinement runs on readings of
// about unit length, where single precision loses least. The start is the result if refinement does
// not reduce the sum of squares. Without an algebraic start the result is that of fit().
Fit fitFromAlgebraicStart(const Readings &samples);

} // namespace ellipsoid
