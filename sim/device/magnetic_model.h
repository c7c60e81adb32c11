#pragma once

#include <cstdint>

#include <Eigen/Core>

#include "sim/device/device_settings.h"

namespace sim {

inline constexpr double kEarthFieldMicrotesla = 48.0;

// Distortion of the earth's field by iron near the magnetometer: raw = S field + h. S (soft iron)
// is near the identity, h (hard iron) is an offset; the seed determines both. Pure: any thread.
class MagneticModel
{
public:
    explicit MagneticModel(std::uint64_t seed);

    // The earth's field in the world frame (x north, y west, z up), microtesla.
    static Eigen::Vector3d earthField();

    Eigen::Vector3d raw(const Eigen::Vector3d &fieldInBody) const
    {
        return m_soft * fieldInBody + m_hard;
    }

    // The calibration that compensates the iron: the corrected field then has length 1.
    MagneticCalibration trueCalibration() const;

    const Eigen::Vector3d &hardIron() const { return m_hard; }
    const Eigen::Matrix3d &softIron() const { return m_soft; }

private:
    Eigen::Vector3d m_hard;
    Eigen::Matrix3d m_soft;
};

// The raw field corrected by a calibration that the host has written; unitless.
Eigen::Vector3d corrected(const Eigen::Vector3d &raw, const MagneticCalibration &calibration);

} // namespace sim
