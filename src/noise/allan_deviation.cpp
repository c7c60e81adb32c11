#include "noise/allan_deviation.h"

#include <algorithm>
#include <cmath>

namespace noise {

namespace {

// sqrt(2 ln 2 / pi).
constexpr double kFlickerFactor = 0.664;
// How far the slope may be from -1/2.
constexpr double kSlopeTolerance = 0.15;
// A minimum counts as one if the curve rises by this factor after it.
constexpr double kRise = 1.05;
constexpr double kFewestTerms = 10;

// Integral of the values without their mean, which the deviation does not depend on; the mean would
// cost precision. One entry more than values.
std::vector<double> integral(std::span<const float> values)
{
    double mean = 0;
    for (const float value : values)
        mean += static_cast<double>(value) / static_cast<double>(values.size());
    std::vector<double> sums(values.size() + 1);
    for (std::size_t i = 0; i < values.size(); ++i)
        sums[i + 1] = sums[i] + (static_cast<double>(values[i]) - mean);
    return sums;
}

AllanPoint pointOf(const std::vector<double> &sums, std::size_t m, double interval)
{
    const std::size_t terms = sums.size() - 2 * m;
    double squares = 0;
    for (std::size_t i = 0; i < terms; ++i) {
        const double difference = sums[i + 2 * m] - 2 * sums[i + m] + sums[i];
        squares += difference * difference;
    }
    const auto length = static_cast<double>(m);
    const double variance = squares / (2 * length * length * static_cast<double>(terms));
    return {length * interval, std::sqrt(variance), terms};
}

double slope(const AllanPoint &a, const AllanPoint &b)
{
    return std::log(b.deviation / a.deviation) / std::log(b.tau / a.tau);
}

} // namespace

std::vector<AllanPoint> allanDeviation(std::span<const float> values, double interval,
                                       int perDecade)
{
    std::vector<AllanPoint> curve;
    if (values.size() < 4 ||
        !std::all_of(values.begin(), values.end(), [](float v) { return std::isfinite(v); }))
        return curve;
    const std::vector<double> sums = integral(values);
    const std::size_t longest = values.size() / 4;
    std::size_t last = 0;
    for (int step = 0;; ++step) {
        const double length = std::pow(10.0, static_cast<double>(step) / perDecade);
        if (length > static_cast<double>(longest))
            return curve;
        const auto m = static_cast<std::size_t>(std::llround(length));
        if (m == last || m > longest)
            continue;
        last = m;
        curve.push_back(pointOf(sums, m, interval));
    }
}

std::optional<double> randomWalk(const std::vector<AllanPoint> &curve)
{
    // Half a decade between the points of a slope, so that the scatter of the curve matters little.
    double logarithms = 0;
    int count = 0;
    for (std::size_t i = 0; i < curve.size(); ++i) {
        const auto end =
            std::find_if(curve.begin() + static_cast<std::ptrdiff_t>(i), curve.end(),
                         [&](const AllanPoint &p) { return p.tau >= 3 * curve[i].tau; });
        if (end == curve.end())
            break;
        if (!(std::abs(slope(curve[i], *end) + 0.5) < kSlopeTolerance))
            continue;
        logarithms += std::log(curve[i].deviation * std::sqrt(curve[i].tau));
        ++count;
    }
    if (count == 0)
        return std::nullopt;
    return std::exp(logarithms / count);
}

std::optional<BiasInstability> biasInstability(const std::vector<AllanPoint> &curve)
{
    const auto lowest =
        std::min_element(curve.begin(), curve.end(), [](const AllanPoint &a, const AllanPoint &b) {
            return a.deviation < b.deviation;
        });
    if (lowest == curve.end() || !(lowest->deviation > 0))
        return std::nullopt;
    const bool rises = std::any_of(lowest, curve.end(), [&](const AllanPoint &p) {
        return p.deviation > kRise * lowest->deviation &&
               static_cast<double>(p.terms) >= kFewestTerms;
    });
    if (!rises)
        return std::nullopt;
    return BiasInstability{lowest->deviation / kFlickerFactor, lowest->tau};
}

} // namespace noise
