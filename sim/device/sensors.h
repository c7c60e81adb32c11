#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "sim/device/device_settings.h"
#include "sim/device/magnetic_model.h"
#include "sim/device/motion_model.h"
#include "sim/line/noise.h"
#include "sim/line/simulated_time.h"

namespace sim {

// All values that a data packet can hold, in the units of the protocol.
struct DeviceSample
{
    std::array<float, 4> quaternion;       // x, y, z, w: body to world
    std::array<float, 3> eulerDeg;         // roll, pitch, yaw
    std::array<float, 3> rates;            // rad/s, body frame
    std::array<float, 3> accelerations;    // m/s^2, body frame, without gravity
    std::array<float, 3> magneticField;    // unitless, corrected by the calibration
    std::array<float, 3> magneticFieldRaw; // uT, distorted by iron
    std::array<float, 3> covariances;      // rad^2, roll pitch yaw
    float pressure;                        // hPa
};

// Errors of the sensors. The defaults are those of a kind device.
struct SensorOptions
{
    double rateNoise = 0.002; // rad/s, standard deviation of a sample
    double rateBias = 0;      // rad/s, of each axis
    // rad/s per kelvin: the bias changes while the device warms up after power-up.
    double rateDrift = 0;

    bool operator==(const SensorOptions &) const = default;
};

// The largest values of each axis that the sensors measure.
inline constexpr double kRateRange = 35;          // rad/s
inline constexpr double kAccelerationRange = 157; // m/s^2
inline constexpr double kFieldRange = 800;        // uT

// How far the device is above its temperature at power-up, in kelvin: 15 K in the end, and 63 % of
// them after 300 s.
double warmUp(Time at);

// The sensors of a body that moves by `motion`. The values depend only on the constructor arguments
// and on time. Pure: any thread.
class Sensors
{
public:
    Sensors(Motion motion, std::uint64_t seed, const SensorOptions &options = {});

    DeviceSample sample(Time at, const DeviceSettings &settings) const;
    Eigen::Vector3d rawField(Time at) const;

    const MotionModel &body() const { return m_motionModel; }
    const MagneticModel &magnetic() const { return m_magnetic; }

private:
    Eigen::Vector3d noise(std::uint32_t channel, double sigma, Time at) const;
    Eigen::Vector3d rates(Time at, float zeroThreshold) const;

    SensorOptions m_options;
    MotionModel m_motionModel;
    MagneticModel m_magnetic;
    Noise m_noise;
};

// The payload of a data packet: a block for every bit of the mask, in this order: quaternion, Euler
// angles, rates, accelerations, magnetic field, raw field, covariances, pressure. If `sync` is true
// and the mask holds OUT_SYNC, the 36-byte sync block comes last.
std::vector<unsigned char> dataPayload(const DeviceSample &sample, std::uint16_t outputs, bool sync,
                                       Time at);

} // namespace sim
