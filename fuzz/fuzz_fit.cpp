// The ellipsoid fit on any set of points: it returns, and its results are consistent.

#include <cmath>

#include "fit/ellipsoid_fit.h"
#include "fit/quality_metrics.h"
#include "fuzz/check.h"
#include "fuzz/input.h"

namespace {

using ellipsoid::Readings;

constexpr std::size_t kMostSamples = 200;

// Any bit patterns: infinities, NaNs, denormals.
Readings rawSamples(fuzz::Input &input)
{
    Readings samples;
    while (!input.isEmpty() && samples.size() < kMostSamples) {
        const auto x = input.value<float>();
        const auto y = input.value<float>();
        samples.push_back({x, y, input.value<float>()});
    }
    return samples;
}

// Small integers times one scale: gives point sets with flat sides, lines and repeated points.
Readings latticeSamples(fuzz::Input &input)
{
    const float scale = std::ldexp(1.0F, input.value<std::int8_t>());
    Readings samples;
    while (!input.isEmpty() && samples.size() < kMostSamples) {
        const auto x = static_cast<float>(input.value<std::int8_t>());
        const auto y = static_cast<float>(input.value<std::int8_t>());
        const auto z = static_cast<float>(input.value<std::int8_t>());
        samples.push_back({x * scale, y * scale, z * scale});
    }
    return samples;
}

// Points of a device rotated through all directions: half axes of 25 to 50, a centre up to 64 away.
Readings ellipsoidSamples(fuzz::Input &input)
{
    Eigen::Vector3f halfAxes;
    Eigen::Vector3f centre;
    for (int axis = 0; axis < 3; ++axis) {
        halfAxes[axis] = 25.0F + static_cast<float>(input.byte()) / 255.0F * 25.0F;
        centre[axis] = static_cast<float>(input.value<std::int8_t>()) / 2.0F;
    }
    const float tilt = static_cast<float>(input.byte()) / 40.0F;
    const int count = 30 + input.byte() % 30;
    Readings samples;
    for (int i = 0; i < count; ++i) {
        // Evenly spread directions: equal steps in height, the golden angle between neighbours.
        const float z = 1 - (2 * static_cast<float>(i) + 1) / static_cast<float>(count);
        const float r = std::sqrt(1 - z * z);
        const float angle = 2.39996F * static_cast<float>(i);
        const Eigen::Vector3f p =
            halfAxes.cwiseProduct(Eigen::Vector3f(r * std::cos(angle), r * std::sin(angle), z));
        samples.push_back({std::cos(tilt) * p.x() - std::sin(tilt) * p.y() + centre.x(),
                           std::sin(tilt) * p.x() + std::cos(tilt) * p.y() + centre.y(),
                           p.z() + centre.z()});
    }
    return samples;
}

bool sameOrBothNaN(float a, float b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

void checkMetrics(const Readings &samples, const ellipsoid::Correction &correction, bool good)
{
    using ellipsoid::Verdict;
    const auto [mean, deviation] = qualityMetrics(samples, correction);
    FUZZ_CHECK(!(mean < 0) && !(deviation < 0));
    const Verdict verdict = ellipsoid::verdictOn(deviation);
    if (std::isnan(deviation))
        FUZZ_CHECK(verdict == Verdict::Bad);
    if (good) {
        FUZZ_CHECK(std::abs(mean - 1) < 0.001F);
        FUZZ_CHECK(verdict == Verdict::Good);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz::Input input(data, size);
    const int kind = input.byte() % 3;
    const Readings samples = kind == 0   ? rawSamples(input)
                             : kind == 1 ? latticeSamples(input)
                                         : ellipsoidSamples(input);

    const ellipsoid::Fit fit = ellipsoid::fit(samples);
    FUZZ_CHECK(fit.iterations >= 1 && fit.iterations <= 15);
    const ellipsoid::Correction correction = ellipsoid::deriveCorrection(fit.shape, fit.centre);
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < row; ++column) {
            FUZZ_CHECK(sameOrBothNaN(fit.shape(row, column), fit.shape(column, row)));
            FUZZ_CHECK(correction.matrix(row, column) == 0.0F);
        }
        FUZZ_CHECK(sameOrBothNaN(correction.bias[row], fit.centre[row]));
    }
    checkMetrics(samples, correction, kind == 2);
    return 0;
}
