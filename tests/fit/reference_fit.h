#pragma once

// Reference for the fit, in double precision and by other methods than the fit's own.

#include <unsupported/Eigen/LevenbergMarquardt>

#include <Eigen/Dense>

#include "fit/ellipsoid_fit.h"

namespace reference {

struct Fit
{
    Eigen::Matrix3d shape;
    Eigen::Vector3d centre;
};

inline Eigen::MatrixX3d asRows(const ellipsoid::Readings &samples)
{
    Eigen::MatrixX3d rows(static_cast<Eigen::Index>(samples.size()), 3);
    for (Eigen::Index i = 0; i < rows.rows(); ++i)
        rows.row(i) = Eigen::Vector3f::Map(samples[static_cast<std::size_t>(i)].data())
                          .cast<double>()
                          .transpose();
    return rows;
}

// Rows of x^2, y^2, z^2, 2xy, 2xz, 2yz, 2x, 2y, 2z against 1, for readings around their mean: the
// linear quadric fit. Exact for readings on an ellipsoid, biased by noise.
inline Fit algebraic(const ellipsoid::Readings &samples)
{
    Eigen::MatrixX3d p = asRows(samples);
    const Eigen::RowVector3d mean = p.colwise().mean();
    p.rowwise() -= mean;
    const auto x = p.col(0).array();
    const auto y = p.col(1).array();
    const auto z = p.col(2).array();
    Eigen::MatrixXd design(p.rows(), 9);
    design << x * x, y * y, z * z, 2 * x * y, 2 * x * z, 2 * y * z, 2 * x, 2 * y, 2 * z;
    const Eigen::VectorXd q =
        design.colPivHouseholderQr().solve(Eigen::VectorXd::Ones(design.rows()));
    Eigen::Matrix3d quadratic;
    quadratic << q[0], q[3], q[4], q[3], q[1], q[5], q[4], q[5], q[2];
    const Eigen::Vector3d offset = -quadratic.inverse() * q.tail<3>();
    const double level = 1 + offset.dot(quadratic * offset);
    return {quadratic / level, offset + mean.transpose()};
}

// Sum of squares of (p - b)^T A (p - b) - 1 over the six entries of A and b, for Eigen's
// Levenberg-Marquardt with its own damping, scaling and stopping rules.
class Problem : public Eigen::DenseFunctor<double>
{
public:
    explicit Problem(const ellipsoid::Readings &samples)
        : DenseFunctor(9, static_cast<int>(samples.size()))
        , m_points(asRows(samples))
    {
    }

    static Fit unpack(const Eigen::VectorXd &t)
    {
        Eigen::Matrix3d a;
        a << t[0], t[1], t[2], t[1], t[3], t[4], t[2], t[4], t[5];
        return {a, t.tail<3>()};
    }

    int operator()(const Eigen::VectorXd &theta, Eigen::VectorXd &residuals) const
    {
        const Fit at = unpack(theta);
        const Eigen::MatrixX3d d = m_points.rowwise() - at.centre.transpose();
        residuals = ((d * at.shape).cwiseProduct(d)).rowwise().sum().array() - 1;
        return 0;
    }

    int df(const Eigen::VectorXd &theta, Eigen::MatrixXd &jacobian) const
    {
        const Fit at = unpack(theta);
        const Eigen::MatrixX3d d = m_points.rowwise() - at.centre.transpose();
        const auto x = d.col(0).array();
        const auto y = d.col(1).array();
        const auto z = d.col(2).array();
        jacobian << x * x, 2 * x * y, 2 * x * z, y * y, 2 * y * z, z * z, -2 * d * at.shape;
        return 0;
    }

private:
    Eigen::MatrixX3d m_points;
};

// Finds the same minimum as the fit from an unrelated start: the mean and the mean radius.
inline Fit leastSquares(const ellipsoid::Readings &samples)
{
    const Eigen::MatrixX3d p = asRows(samples);
    const Eigen::RowVector3d mean = p.colwise().mean();
    const double radius = (p.rowwise() - mean).rowwise().norm().mean();
    const double stiffness = 1 / (radius * radius);
    Eigen::VectorXd theta(9);
    theta << stiffness, 0, 0, stiffness, 0, stiffness, mean.transpose();
    Problem problem(samples);
    Eigen::LevenbergMarquardt<Problem> solver(problem);
    solver.setFtol(1e-15);
    solver.setXtol(1e-15);
    solver.minimize(theta);
    return Problem::unpack(theta);
}

} // namespace reference
