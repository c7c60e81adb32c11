#pragma once

#include "sim/Body.h"
#include "sim/MagneticModel.h"
#include "sim/Memory.h"
#include "sim/Noise.h"
#include "sim/Time.h"

#include <array>
#include <cstdint>
#include <vector>

namespace sim {

// All values that a data packet can hold, in the units of the protocol.
struct Sample
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

// The sensors of a body that moves by `motion`. The values depend only on the constructor arguments
// and on time. Pure: any thread.
class Sensors
{
public:
    Sensors(Motion motion, std::uint64_t seed);

    Sample sample(Time at, const Settings &settings) const;
    Eigen::Vector3d rawField(Time at) const;

    const Body &body() const { return m_body; }
    const MagneticModel &magnetic() const { return m_magnetic; }

private:
    Eigen::Vector3d noise(std::uint32_t channel, double sigma, Time at) const;
    Eigen::Vector3d rates(Time at, float zeroThreshold) const;

    Body m_body;
    MagneticModel m_magnetic;
    Noise m_noise;
};

// The payload of a data packet: a block for every bit of the mask, in this order: quaternion, Euler
// angles, rates, accelerations, magnetic field, raw field, covariances, pressure. If `sync` is true
// and the mask holds OUT_SYNC, the 36-byte sync block comes last.
std::vector<unsigned char> dataPayload(const Sample &sample, std::uint16_t outputs, bool sync,
                                       Time at);

} // namespace sim
