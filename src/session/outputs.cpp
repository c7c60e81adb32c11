#include "session/outputs.h"

#include <algorithm>
#include <limits>

#include "protocol/protocol.h"

namespace session {

using namespace protocol;

namespace {

constexpr std::array<Output, 9> kOutputs{{
    {OUT_RATES, "rates", "rad/s", 13, {"x", "y", "z"}},
    {OUT_ACCELERATIONS, "accelerations", "m/s^2", 13, {"x", "y", "z"}},
    {OUT_QUATERNION, "quaternion", "1", 17, {"x", "y", "z", "w"}},
    {OUT_ALTITUDE, "pressure", "hPa", 5, {""}},
    {OUT_COVARIANCES, "covariances", "rad^2", 13, {"x", "y", "z"}},
    {OUT_EULER, "euler", "deg", 13, {"roll", "pitch", "yaw"}},
    {OUT_MAGNETIC_FIELD, "field", "1", 13, {"x", "y", "z"}},
    {OUT_SYNC, "sync", "", 37, {}},
    {OUT_MAGNETIC_FIELD_RAW, "raw-field", "uT", 13, {"x", "y", "z"}},
}};
constexpr double kBitsPerByte = 10;

} // namespace

std::span<const Output> allOutputs()
{
    return kOutputs;
}

const Output *outputNamed(std::string_view name)
{
    const auto found = std::find_if(kOutputs.begin(), kOutputs.end(),
                                    [name](const Output &output) { return output.name == name; });
    return found == kOutputs.end() ? nullptr : &*found;
}

std::span<const float> valuesOf(const Sample &sample, const Output &output)
{
    switch (output.bit) {
    case OUT_RATES:
        return sample.rates;
    case OUT_ACCELERATIONS:
        return sample.accelerations;
    case OUT_QUATERNION:
        return sample.quaternion;
    case OUT_ALTITUDE:
        return {&sample.pressure, 1};
    case OUT_COVARIANCES:
        return sample.covariances;
    case OUT_EULER:
        return sample.euler;
    case OUT_MAGNETIC_FIELD:
        return sample.magneticField;
    case OUT_MAGNETIC_FIELD_RAW:
        return sample.magneticFieldRaw;
    default:
        return {};
    }
}

double lineLoad(std::uint16_t outputs, unsigned rateHz, unsigned baud)
{
    if (baud == 0)
        return std::numeric_limits<double>::quiet_NaN();
    double bytesPerSecond = static_cast<double>(kFrameSize) * rateHz;
    for (const Output &output : kOutputs) {
        const double perSecond = output.bit == OUT_SYNC ? 1 : rateHz;
        if ((outputs & output.bit) != 0)
            bytesPerSecond += static_cast<double>(output.blockSize) * perSecond;
    }
    return bytesPerSecond * kBitsPerByte / baud;
}

} // namespace session
