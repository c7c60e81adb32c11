#include "fit/ellipsoid_fit.h"

#include <algorithm>

#include <Eigen/Cholesky>

namespace ellipsoid {

namespace {

constexpr int kMaxIterations = 15;
constexpr float kSmallestStep = 1e-6F;
constexpr float kRidge = 1e-6F;
constexpr float kFlatStiffness = 999999.9F;

// A00, A01, A02, A11, A12, A22, then the centre.
constexpr Eigen::Index kParameters = 9;

using Columns = Eigen::Array<float, Eigen::Dynamic, 3>;
using Jacobian = Eigen::Matrix<float, Eigen::Dynamic, kParameters>;
// Dynamic size, as the solver needs it; the fixed maximum avoids heap allocation.
using NormalMatrix =
    Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, 0, kParameters, kParameters>;
using Parameters = Eigen::Matrix<float, kParameters, 1>;

// An axis without extent gets a large fixed stiffness, because dividing by the square of a range
// near 0 would overflow.
float stiffness(float halfRange)
{
    return halfRange < kFlatHalfRange ? kFlatStiffness : 1.0F / (halfRange * halfRange);
}

Fit boundingBoxGuess(const Readings &samples)
{
    Eigen::Vector3f low = Eigen::Vector3f::Constant(1e9F);
    Eigen::Vector3f high = Eigen::Vector3f::Constant(-1e9F);
    for (const Reading &sample : samples) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], sample[static_cast<std::size_t>(axis)]);
            high[axis] = std::max(high[axis], sample[static_cast<std::size_t>(axis)]);
        }
    }
    const Eigen::Vector3f halfRange = (high - low) * 0.5F;
    return {halfRange.unaryExpr(&stiffness).asDiagonal(), (high + low) * 0.5F, 0};
}

// Holds the samples and the buffers of one iteration, allocated once for all iterations.
class GaussNewton
{
public:
    explicit GaussNewton(const Readings &samples)
        : m_samples(static_cast<Eigen::Index>(samples.size()), 3)
        , m_offsets(m_samples.rows(), 3)
        , m_jacobian(m_samples.rows(), kParameters)
        , m_residual(m_samples.rows())
        , m_normal(kParameters, kParameters)
    {
        for (Eigen::Index i = 0; i < m_samples.rows(); ++i)
            m_samples.row(i) =
                Eigen::Array3f::Map(samples[static_cast<std::size_t>(i)].data()).transpose();
    }

    // Returns the change of the nine parameters that solves the linearised problem.
    Parameters step(const Fit &fit)
    {
        m_offsets = m_samples.rowwise() - fit.centre.transpose().array();
        fillResidual(fit.shape);
        fillJacobian(fit.shape);
        fillNormalMatrix();
        m_gradient.noalias() = m_jacobian.transpose() * m_residual;
        return -m_solver.compute(m_normal).solve(m_gradient);
    }

private:
    void fillResidual(const Eigen::Matrix3f &a)
    {
        const auto dx = m_offsets.col(0);
        const auto dy = m_offsets.col(1);
        const auto dz = m_offsets.col(2);
        m_residual.array() = a(0, 0) * dx.square() + a(1, 1) * dy.square() + a(2, 2) * dz.square() +
                             2.0F * a(0, 1) * dx * dy + 2.0F * a(0, 2) * dx * dz +
                             2.0F * a(1, 2) * dy * dz - 1.0F;
    }

    void fillJacobian(const Eigen::Matrix3f &a)
    {
        const auto dx = m_offsets.col(0);
        const auto dy = m_offsets.col(1);
        const auto dz = m_offsets.col(2);
        auto columns = m_jacobian.array();
        columns.col(0) = dx.square();
        columns.col(1) = 2.0F * dx * dy;
        columns.col(2) = 2.0F * dx * dz;
        columns.col(3) = dy.square();
        columns.col(4) = 2.0F * dy * dz;
        columns.col(5) = dz.square();
        for (int axis = 0; axis < 3; ++axis)
            columns.col(6 + axis) = -2.0F * (a(axis, 0) * dx + a(axis, 1) * dy + a(axis, 2) * dz);
    }

    // Fills only the lower triangle, the half that the solver reads. One dot product per entry is
    // faster than the general product, which computes both halves.
    void fillNormalMatrix()
    {
        for (Eigen::Index row = 0; row < kParameters; ++row) {
            for (Eigen::Index column = 0; column <= row; ++column)
                m_normal(row, column) = m_jacobian.col(row).dot(m_jacobian.col(column));
        }
        m_normal.diagonal().array() += kRidge;
    }

    Columns m_samples;
    Columns m_offsets; // samples minus the centre
    Jacobian m_jacobian;
    Eigen::VectorXf m_residual;
    NormalMatrix m_normal;
    Parameters m_gradient;
    Eigen::LDLT<NormalMatrix> m_solver;
};

void applyStep(const Parameters &delta, Fit &fit)
{
    Eigen::Matrix3f m;
    m << delta[0], delta[1], delta[2], //
        delta[1], delta[3], delta[4],  //
        delta[2], delta[4], delta[5];
    m += fit.shape;
    fit.shape = 0.5F * (m + m.transpose());
    fit.centre += delta.tail<3>();
}

bool isPositiveDefinite(const Eigen::Matrix3f &matrix)
{
    return Eigen::LLT<Eigen::Matrix3f>(matrix).info() == Eigen::Success;
}

} // namespace

Fit fit(const Readings &samples)
{
    return refine(samples, boundingBoxGuess(samples));
}

Fit refine(const Readings &samples, const Fit &start)
{
    Fit result{start.shape, start.centre, 0};
    GaussNewton problem(samples);
    bool converged = false;
    while (!converged && result.iterations < kMaxIterations) {
        const Parameters delta = problem.step(result);
        // Applies the last step too: it is already computed and can only improve the result.
        applyStep(delta, result);
        ++result.iterations;
        converged = delta.norm() < kSmallestStep;
    }
    if (!isPositiveDefinite(result.shape))
        result.shape.diagonal().array() += kRidge;
    return result;
}

Correction deriveCorrection(const Eigen::Matrix3f &shape, const Eigen::Vector3f &centre)
{
    Eigen::Matrix3f symmetric = 0.5F * (shape + shape.transpose());
    Eigen::LLT<Eigen::Matrix3f> factor(symmetric);
    if (factor.info() != Eigen::Success) {
        symmetric.diagonal().array() += kRidge;
        factor.compute(symmetric);
    }
    return {centre, factor.matrixU()};
}

} // namespace ellipsoid
