#include "fit/algebraic_start.h"

#include <cmath>

#include <Eigen/Cholesky>
#include <Eigen/LU>

#include "fit/fit_judgement.h"

namespace ellipsoid {

namespace {

using Parameters = Eigen::Matrix<double, 9, 1>;
using NormalMatrix = Eigen::Matrix<double, 9, 9>;

Eigen::Vector3d toVector(const Reading &reading)
{
    return {reading[0], reading[1], reading[2]};
}

// Maps readings to unit root-mean-square distance from their mean.
struct Normalisation
{
    Eigen::Vector3d mean = Eigen::Vector3d::Zero();
    double scale = 1;

    explicit Normalisation(const Readings &samples)
    {
        const auto count = static_cast<double>(samples.size());
        for (const Reading &sample : samples)
            mean += toVector(sample) / count;
        double squares = 0;
        for (const Reading &sample : samples)
            squares += (toVector(sample) - mean).squaredNorm() / count;
        scale = std::sqrt(squares);
    }

    bool isUsable() const { return mean.allFinite() && std::isfinite(scale) && scale > 0; }
    Eigen::Vector3d apply(const Reading &reading) const
    {
        return (toVector(reading) - mean) / scale;
    }
    Surface apply(const Surface &surface) const
    {
        return {surface.shape * scale * scale, (surface.centre - mean) / scale};
    }
    Surface undo(const Surface &surface) const
    {
        return {surface.shape / (scale * scale), surface.centre * scale + mean};
    }
};

// Solves q(x) = 1 for the quadric q without a constant term. The mean of the readings is the origin
// and lies inside every ellipsoid through them, so the constant term is never 0.
std::optional<Parameters> quadric(const Readings &samples, const Normalisation &normalisation)
{
    NormalMatrix normal = NormalMatrix::Zero();
    Parameters sum = Parameters::Zero();
    for (const Reading &sample : samples) {
        const Eigen::Vector3d p = normalisation.apply(sample);
        Parameters row;
        row << p.x() * p.x(), 2 * p.x() * p.y(), 2 * p.x() * p.z(), p.y() * p.y(),
            2 * p.y() * p.z(), p.z() * p.z(), 2 * p.x(), 2 * p.y(), 2 * p.z();
        normal.selfadjointView<Eigen::Lower>().rankUpdate(row);
        sum += row;
    }
    const Eigen::LDLT<NormalMatrix> solver(normal);
    const Parameters solution = solver.solve(sum);
    if (solver.info() != Eigen::Success || !solution.allFinite())
        return std::nullopt;
    return solution;
}

bool isPositiveDefinite(const Eigen::Matrix3d &matrix)
{
    return matrix.allFinite() && Eigen::LLT<Eigen::Matrix3d>(matrix).info() == Eigen::Success;
}

std::optional<Surface> toSurface(const Parameters &q)
{
    Eigen::Matrix3d quadratic;
    quadratic << q[0], q[1], q[2], //
        q[1], q[3], q[4],          //
        q[2], q[4], q[5];
    const Eigen::Vector3d linear = q.tail<3>();
    const Eigen::Vector3d centre = -quadratic.inverse() * linear;
    const Eigen::Matrix3d shape = quadratic / (1 + centre.dot(quadratic * centre));
    if (!centre.allFinite() || !isPositiveDefinite(shape))
        return std::nullopt;
    return Surface{shape, centre};
}

double sumOfSquares(const Readings &samples, const Surface &surface)
{
    double sum = 0;
    for (const Reading &sample : samples) {
        const Eigen::Vector3d d = toVector(sample) - surface.centre;
        const double residual = d.dot(surface.shape * d) - 1;
        sum += residual * residual;
    }
    return sum;
}

Fit toFit(const Surface &surface, int iterations)
{
    return {surface.shape.cast<float>(), surface.centre.cast<float>(), iterations};
}

Surface toSurface(const Fit &fit)
{
    return {fit.shape.cast<double>(), fit.centre.cast<double>()};
}

} // namespace

std::optional<Surface> algebraicStart(const Readings &samples)
{
    const Normalisation normalisation(samples);
    if (samples.size() < kFewestSamples || !normalisation.isUsable())
        return std::nullopt;
    const std::optional<Parameters> parameters = quadric(samples, normalisation);
    const std::optional<Surface> surface = parameters ? toSurface(*parameters) : std::nullopt;
    if (!surface)
        return std::nullopt;
    return normalisation.undo(*surface);
}

Fit fitFromAlgebraicStart(const Readings &samples)
{
    const std::optional<Surface> start = algebraicStart(samples);
    if (!start)
        return fit(samples);
    const Normalisation normalisation(samples);
    Readings normalised;
    normalised.reserve(samples.size());
    for (const Reading &sample : samples) {
        const Eigen::Vector3f p = normalisation.apply(sample).cast<float>();
        normalised.push_back({p.x(), p.y(), p.z()});
    }
    const Fit refined = refine(normalised, toFit(normalisation.apply(*start), 0));
    const Surface result = normalisation.undo(toSurface(refined));
    const bool isBetter = isPositiveDefinite(result.shape) && result.centre.allFinite() &&
                          sumOfSquares(samples, result) < sumOfSquares(samples, *start);
    return toFit(isBetter ? result : *start, refined.iterations);
}

} // namespace ellipsoid
