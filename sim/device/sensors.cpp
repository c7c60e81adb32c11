#include "sim/device/sensors.h"

#include <cmath>
#include <cstring>
#include <numbers>

#include "protocol/protocol.h"

using namespace protocol;

namespace sim {

namespace {

constexpr double kAccelerationSigma = 0.02; // m/s^2
constexpr double kRawFieldSigma = 0.15;     // uT
constexpr double kPressureSigma = 0.02;     // hPa
constexpr double kMeanPressure = 1013.25;   // hPa
constexpr double kWarmUp = 15;              // K
constexpr double kWarmUpTime = 300;         // s

enum Channel : std::uint32_t {
    RateNoise = 1,
    AccelerationNoise = 4,
    FieldNoise = 7,
    PressureNoise = 10
};

template <std::size_t N, typename Vector>
std::array<float, N> floats(const Vector &values)
{
    std::array<float, N> result;
    for (std::size_t i = 0; i < N; ++i)
        result[i] = static_cast<float>(values[static_cast<Eigen::Index>(i)]);
    return result;
}

Eigen::Vector3d saturated(const Eigen::Vector3d &value, double range)
{
    return value.cwiseMax(-range).cwiseMin(range);
}

// In rad^2. Settles within seconds after time 0 and grows with the rate of rotation, like the
// covariances of an attitude estimator.
Eigen::Vector3d covariances(double t, double rate)
{
    const double settling = 1e-4 + 4e-3 * std::exp(-t / 3.0) + 2e-5 * rate;
    return {settling, settling, 3.0 * settling};
}

// In hPa: mean, slow variation (weather) and sensor noise.
double pressureAt(double t, double noise)
{
    return kMeanPressure + 0.4 * std::sin(2.0 * std::numbers::pi * t / 600.0) +
           kPressureSigma * noise;
}

void append(std::vector<unsigned char> &payload, BlockCode code, const void *data, std::size_t size)
{
    const auto *bytes = static_cast<const unsigned char *>(data);
    payload.push_back(code);
    payload.insert(payload.end(), bytes, bytes + size);
}

// Appends the sync block: the time of the pulse in microseconds, then zeros.
void appendSync(std::vector<unsigned char> &payload, Time at)
{
    constexpr std::size_t kSyncSize = 36;
    std::array<unsigned char, kSyncSize> block{};
    writeField(block.data(), static_cast<std::uint64_t>(at.count() / 1000));
    append(payload, RESERVED_22, block.data(), block.size());
}

} // namespace

double warmUp(Time at)
{
    return kWarmUp * (1 - std::exp(-seconds(at) / kWarmUpTime));
}

Sensors::Sensors(Motion motion, std::uint64_t seed, const SensorOptions &options)
    : m_options(options)
    , m_motionModel(motion, seed)
    , m_magnetic(seed)
    , m_noise(seed)
{
}

Eigen::Vector3d Sensors::noise(std::uint32_t channel, double sigma, Time at) const
{
    return sigma * Eigen::Vector3d(m_noise.gaussian(channel, at), m_noise.gaussian(channel + 1, at),
                                   m_noise.gaussian(channel + 2, at));
}

Eigen::Vector3d Sensors::rates(Time at, float zeroThreshold) const
{
    const double bias = m_options.rateBias + m_options.rateDrift * warmUp(at);
    const Eigen::Vector3d measured =
        saturated(m_motionModel.angularRate(at) + noise(RateNoise, m_options.rateNoise, at) +
                      Eigen::Vector3d::Constant(bias),
                  kRateRange);
    return measured.norm() < static_cast<double>(zeroThreshold) ? Eigen::Vector3d::Zero()
                                                                : measured;
}

Eigen::Vector3d Sensors::rawField(Time at) const
{
    const Eigen::Vector3d inBody =
        m_motionModel.orientation(at).conjugate() * MagneticModel::earthField();
    return saturated(m_magnetic.raw(inBody) + noise(FieldNoise, kRawFieldSigma, at), kFieldRange);
}

DeviceSample Sensors::sample(Time at, const DeviceSettings &settings) const
{
    const Eigen::Quaterniond q = m_motionModel.orientation(at);
    const Eigen::Vector3d raw = rawField(at);
    const Eigen::Vector3d turning = rates(at, settings.zeroThreshold);

    DeviceSample sample;
    sample.quaternion = floats<4>(q.coeffs());
    sample.eulerDeg = floats<3>(rollPitchYawDeg(q));
    sample.rates = floats<3>(turning);
    // Without gravity. Unless it vibrates, the body only rotates about the sensor.
    sample.accelerations = floats<3>(
        saturated(m_motionModel.acceleration(at) + noise(AccelerationNoise, kAccelerationSigma, at),
                  kAccelerationRange));
    sample.magneticField = floats<3>(corrected(raw, settings.magnetic));
    sample.magneticFieldRaw = floats<3>(raw);
    sample.covariances = floats<3>(covariances(seconds(at), turning.norm()));
    sample.pressure =
        static_cast<float>(pressureAt(seconds(at), m_noise.gaussian(PressureNoise, at)));
    return sample;
}

std::vector<unsigned char> dataPayload(const DeviceSample &sample, std::uint16_t outputs, bool sync,
                                       Time at)
{
    std::vector<unsigned char> payload;
    payload.reserve(160);
    const auto add = [&](std::uint16_t bit, BlockCode code, const auto &value) {
        if (outputs & bit)
            append(payload, code, &value, sizeof value);
    };
    add(OUT_QUATERNION, QUATERNION, sample.quaternion);
    add(OUT_EULER, EULER, sample.eulerDeg);
    add(OUT_RATES, RATES, sample.rates);
    add(OUT_ACCELERATIONS, ACCELERATIONS, sample.accelerations);
    add(OUT_MAGNETIC_FIELD, MAGNETIC_FIELD, sample.magneticField);
    add(OUT_MAGNETIC_FIELD_RAW, MAGNETIC_FIELD_RAW, sample.magneticFieldRaw);
    add(OUT_COVARIANCES, COVARIANCES, sample.covariances);
    add(OUT_ALTITUDE, ALTITUDE, sample.pressure);
    if (sync && (outputs & OUT_SYNC))
        appendSync(payload, at);
    return payload;
}

} // namespace sim
