#include "sim/device/magnetic_model.h"

#include <cmath>
#include <numbers>

#include <Eigen/Cholesky>
#include <Eigen/LU>

#include "sim/line/noise.h"

namespace sim {

namespace {

constexpr double kDip = 58.0 * std::numbers::pi / 180.0;
constexpr std::uint32_t kIronChannel = 100;

} // namespace

MagneticModel::MagneticModel(std::uint64_t seed)
{
    const Noise noise(seed);
    std::uint64_t tick = 0;
    const auto between = [&](double low, double high) {
        return low + (high - low) * noise.uniform(kIronChannel, tick++);
    };
    // Offsets are of the magnitude of the field, and the axis scales differ by about a fifth. So
    // the raw points are clearly not on a sphere about the origin.
    for (int i = 0; i < 3; ++i)
        m_hard[i] = between(10, 30) * (between(-1, 1) < 0 ? -1 : 1);
    m_soft = Eigen::Matrix3d::Identity();
    for (int i = 0; i < 3; ++i)
        m_soft(i, i) = between(0.85, 1.2);
    for (int i = 0; i < 3; ++i)
        m_soft(i, (i + 1) % 3) = m_soft((i + 1) % 3, i) = between(-0.08, 0.08);
}

Eigen::Vector3d MagneticModel::earthField()
{
    return kEarthFieldMicrotesla * Eigen::Vector3d(std::cos(kDip), 0, -std::sin(kDip));
}

MagneticCalibration MagneticModel::trueCalibration() const
{
    const Eigen::Matrix3d inverse = m_soft.inverse() / kEarthFieldMicrotesla;
    const Eigen::Matrix3d upper = (inverse.transpose() * inverse).llt().matrixU();
    MagneticCalibration calibration;
    Eigen::Map<Eigen::Vector3f>(calibration.bias.data()) = -m_hard.cast<float>();
    Eigen::Map<Eigen::Matrix3f>(calibration.matrix.data()) = upper.cast<float>();
    return calibration;
}

Eigen::Vector3d corrected(const Eigen::Vector3d &raw, const MagneticCalibration &calibration)
{
    const Eigen::Vector3d bias =
        Eigen::Map<const Eigen::Vector3f>(calibration.bias.data()).cast<double>();
    const Eigen::Matrix3d matrix =
        Eigen::Map<const Eigen::Matrix3f>(calibration.matrix.data()).cast<double>();
    return matrix * (raw + bias);
}

} // namespace sim
