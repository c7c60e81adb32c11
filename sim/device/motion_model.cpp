#include "sim/device/motion_model.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "sim/line/noise.h"

namespace sim {

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kDegree = kPi / 180.0;
constexpr double kSpinRate = 0.8; // rad/s

// One turn takes a few seconds. No two rates have a simple ratio, so the direction of the field
// covers the whole sphere instead of repeating a closed path.
constexpr double kTumbleYawRate = 1.273;
constexpr double kTumblePitchRate = 1.711;
constexpr double kTumbleRollRate = 0.937;

struct Swing
{
    double amplitudeDeg;
    double periodS;
};

constexpr double kTurnRate = 0.3; // rad/s
constexpr Swing kTurnLean{8, 9.0};
constexpr Swing kVibration{0.2, 1 / 23.0};
constexpr double kVibrationAcceleration = 3; // m/s^2
constexpr double kVibrationHz = 31;

// The sum of a slow oscillation and a faster, smaller one.
constexpr Swing kHandYaw[] = {{60, 11.0}, {18, 4.3}};
constexpr Swing kHandPitch[] = {{22, 5.3}, {6, 1.9}};
constexpr Swing kHandRoll[] = {{32, 7.1}, {8, 2.3}};

} // namespace

MotionModel::MotionModel(Motion motion, std::uint64_t seed)
    : m_motion(motion)
    , m_seed(seed)
{
}

MotionModel::Angle MotionModel::swing(double amplitudeDeg, double periodS, double t)
{
    const double amplitude = amplitudeDeg * kDegree;
    const double omega = 2.0 * kPi / periodS;
    return {amplitude * std::sin(omega * t), amplitude * omega * std::cos(omega * t)};
}

MotionModel::Angles MotionModel::handAngles(double t) const
{
    const Noise noise(m_seed);
    std::uint64_t tick = 0;
    const auto wander = [&](const Swing(&swings)[2]) {
        Angle angle;
        for (const Swing &swing : swings) {
            const double amplitude = swing.amplitudeDeg * kDegree;
            const double omega = 2.0 * kPi / swing.periodS;
            const double phase = 2.0 * kPi * noise.uniform(0, tick++);
            angle.value += amplitude * std::sin(omega * t + phase);
            angle.rate += amplitude * omega * std::cos(omega * t + phase);
        }
        return angle;
    };
    Angles result;
    result.yaw = wander(kHandYaw);
    result.pitch = wander(kHandPitch);
    result.roll = wander(kHandRoll);
    return result;
}

MotionModel::Angles MotionModel::angles(double t) const
{
    switch (m_motion) {
    case Motion::Still:
        return {};
    case Motion::Spin:
        return {{kSpinRate * t, kSpinRate}, {}, {}};
    case Motion::Tumble:
        return {{kTumbleYawRate * t, kTumbleYawRate},
                {kTumblePitchRate * t, kTumblePitchRate},
                {kTumbleRollRate * t, kTumbleRollRate}};
    case Motion::Turn:
        return {
            {kTurnRate * t, kTurnRate}, swing(kTurnLean.amplitudeDeg, kTurnLean.periodS, t), {}};
    case Motion::Vibration:
        return {{}, {}, swing(kVibration.amplitudeDeg, kVibration.periodS, t)};
    case Motion::Hand:
        return handAngles(t);
    }
    return {};
}

Eigen::Quaterniond MotionModel::orientation(Time at) const
{
    const Angles a = angles(seconds(at));
    using Eigen::AngleAxisd;
    using Eigen::Vector3d;
    return Eigen::Quaterniond(AngleAxisd(a.yaw.value, Vector3d::UnitZ()) *
                              AngleAxisd(a.pitch.value, Vector3d::UnitY()) *
                              AngleAxisd(a.roll.value, Vector3d::UnitX()));
}

Eigen::Vector3d MotionModel::angularRate(Time at) const
{
    const Angles a = angles(seconds(at));
    const double sinPitch = std::sin(a.pitch.value);
    const double cosPitch = std::cos(a.pitch.value);
    const double sinRoll = std::sin(a.roll.value);
    const double cosRoll = std::cos(a.roll.value);
    return {a.roll.rate - a.yaw.rate * sinPitch,
            a.pitch.rate * cosRoll + a.yaw.rate * cosPitch * sinRoll,
            -a.pitch.rate * sinRoll + a.yaw.rate * cosPitch * cosRoll};
}

Eigen::Vector3d MotionModel::acceleration(Time at) const
{
    if (m_motion != Motion::Vibration)
        return Eigen::Vector3d::Zero();
    return {0, 0, kVibrationAcceleration * std::sin(2.0 * kPi * kVibrationHz * seconds(at))};
}

Eigen::Vector3d rollPitchYawDeg(const Eigen::Quaterniond &q)
{
    const double roll =
        std::atan2(2 * (q.w() * q.x() + q.y() * q.z()), 1 - 2 * (q.x() * q.x() + q.y() * q.y()));
    const double pitch = std::asin(std::clamp(2 * (q.w() * q.y() - q.z() * q.x()), -1.0, 1.0));
    const double yaw =
        std::atan2(2 * (q.w() * q.z() + q.x() * q.y()), 1 - 2 * (q.y() * q.y() + q.z() * q.z()));
    return Eigen::Vector3d(roll, pitch, yaw) / kDegree;
}

} // namespace sim
