#pragma once

// Fits an ellipsoid to raw magnetometer readings and derives the correction that maps it onto the
// unit sphere. Single precision throughout. Pure: any thread, no lock.

#include <array>
#include <vector>

#include <Eigen/Core>

namespace ellipsoid {

using Reading = std::array<float, 3>; // x, y, z of a raw reading, in the device's units
using Readings = std::vector<Reading>;

// If half the range of the readings along an axis is below this, the axis counts as one without
// extent.
inline constexpr float kFlatHalfRange = 0.001F;

// A reading p lies on the ellipsoid when (p - centre)^T shape (p - centre) = 1.
struct Fit
{
    Eigen::Matrix3f shape; // symmetric; not always positive definite
    Eigen::Vector3f centre;
    int iterations; // 1 to 15
};

// A corrected reading is matrix (p - bias). Its length is 1 for a reading on the ellipsoid.
struct Correction
{
    Eigen::Vector3f bias = Eigen::Vector3f::Zero();
    Eigen::Matrix3f matrix = Eigen::Matrix3f::Identity(); // upper triangular

    Eigen::Vector3f corrected(const Reading &reading) const
    {
        return matrix * (Eigen::Vector3f::Map(reading.data()) - bias);
    }
    // Half axes of the ellipsoid along x, y and z; exact only if it is not tilted.
    Eigen::Vector3f scale() const { return matrix.diagonal().cwiseInverse(); }
};

// Least squares by Gauss-Newton from the bounding box of the samples. Always returns a result: a
// small ridge keeps a flat or empty set solvable, and values that are not finite stay not finite.
Fit fit(const Readings &samples);
// The same iterations from another start, for callers that know a better one than the box.
Fit refine(const Readings &samples, const Fit &start);

// The Cholesky factor U of the shape, shape = U^T U, with the centre as bias.
Correction deriveCorrection(const Eigen::Matrix3f &shape, const Eigen::Vector3f &centre);

} // namespace ellipsoid
