#include "fit/fit_judgement.h"

#include <algorithm>

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>

namespace ellipsoid {

namespace {

// Samples over the whole sphere give 0.13, over half of it 0.003, over a quarter 0.0001. Below the
// limit, noise of 0.3 % of the radius can double the half axes of the fit.
constexpr double kLeastEigenvalue = 1e-5;

using Parameters = Eigen::Matrix<double, 9, 1>;
using NormalMatrix = Eigen::Matrix<double, 9, 9>;

bool isFinite(const Eigen::Matrix3f &shape, const Correction &correction)
{
    return shape.allFinite() && correction.bias.allFinite() && correction.matrix.allFinite() &&
           correction.scale().allFinite();
}

bool isAnEllipsoid(const Eigen::Matrix3f &shape, const Correction &correction)
{
    return (correction.matrix.diagonal().array() > 0.0F).all() &&
           Eigen::LLT<Eigen::Matrix3f>(shape).info() == Eigen::Success;
}

// For an axis without extent the fit uses a fixed, very stiff one, which the samples do not
// determine.
bool hasAxisWithoutExtent(const Readings &samples)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto [low, high] = std::minmax_element(
            samples.begin(), samples.end(),
            [axis](const Reading &a, const Reading &b) { return a[axis] < b[axis]; });
        if (((*high)[axis] - (*low)[axis]) * 0.5F < kFlatHalfRange)
            return true;
    }
    return false;
}

// Smallest eigenvalue of the normal matrix of the nine parameters, averaged over the corrected
// samples. It measures how well the samples determine all parameters. On the unit sphere it depends
// on directions alone, not on the units or the shape of the raw readings.
double leastEigenvalue(const Readings &samples, const Correction &correction)
{
    NormalMatrix normal = NormalMatrix::Zero();
    for (const Reading &sample : samples) {
        const Eigen::Vector3d c = correction.corrected(sample).cast<double>();
        Parameters row;
        row << c.x() * c.x(), 2 * c.x() * c.y(), 2 * c.x() * c.z(), c.y() * c.y(),
            2 * c.y() * c.z(), c.z() * c.z(), -2 * c.x(), -2 * c.y(), -2 * c.z();
        normal += row * row.transpose();
    }
    normal /= static_cast<double>(samples.size());
    return Eigen::SelfAdjointEigenSolver<NormalMatrix>(normal, Eigen::EigenvaluesOnly)
        .eigenvalues()
        .minCoeff();
}

} // namespace

Judgement judge(const Readings &samples, const Eigen::Matrix3f &shape, const Correction &correction)
{
    if (samples.size() < kFewestSamples)
        return Judgement::TooFewSamples;
    if (!isFinite(shape, correction))
        return Judgement::NotFinite;
    if (!isAnEllipsoid(shape, correction))
        return Judgement::NotAnEllipsoid;
    if (hasAxisWithoutExtent(samples) || leastEigenvalue(samples, correction) < kLeastEigenvalue)
        return Judgement::TooFewDirections;
    return Judgement::Determined;
}

} // namespace ellipsoid
