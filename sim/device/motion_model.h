#pragma once

#include <cstdint>

#include <Eigen/Core>
#include <Eigen/Geometry>

#include "sim/line/simulated_time.h"

namespace sim {

enum class Motion {
    Still,     // at rest, axes parallel to the world axes
    Spin,      // rotates about the vertical at a constant rate
    Tumble,    // passes through all orientations, like a device during calibration
    Turn,      // slow turn by hand about the vertical, leaning a little
    Vibration, // at rest on a machine: fast small rotations and accelerations
    Hand,      // small slow rotations about the level attitude, like a hand-held device
};

// The rigid body that carries the device. World frame: x north, y west, z up. At rest the body
// frame equals the world frame. Pure: any thread.
class MotionModel
{
public:
    MotionModel(Motion motion, std::uint64_t seed);

    // Rotates body coordinates into world coordinates.
    Eigen::Quaterniond orientation(Time at) const;
    // Angular velocity in body coordinates, rad/s; the exact derivative of orientation().
    Eigen::Vector3d angularRate(Time at) const;
    // Linear acceleration without gravity in body coordinates, m/s^2.
    Eigen::Vector3d acceleration(Time at) const;

    Motion motion() const { return m_motion; }

private:
    struct Angle
    {
        double value = 0;
        double rate = 0;
    };
    struct Angles
    {
        Angle yaw, pitch, roll;
    };

    static Angle swing(double amplitudeDeg, double periodS, double t);
    Angles angles(double t) const;
    Angles handAngles(double t) const;

    Motion m_motion;
    std::uint64_t m_seed;
};

// Roll, pitch and yaw in degrees: yaw about z, then pitch about y, then roll about x.
Eigen::Vector3d rollPitchYawDeg(const Eigen::Quaterniond &orientation);

} // namespace sim
