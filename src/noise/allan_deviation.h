#pragma once

// The noise of a sensor at rest over averaging time. Pure: any thread, no lock.

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace noise {

// A point of the curve: how much averages over `tau` differ from those that follow.
struct AllanPoint
{
    double tau;       // seconds
    double deviation; // in the units of the values
    std::size_t terms;
};

// Overlapping Allan deviation of samples at a fixed interval (seconds, above 0), at averaging times
// of about `perDecade` per decade, from one interval up to a quarter of the whole time. Empty for
// fewer than four values, or if a value is not finite.
std::vector<AllanPoint> allanDeviation(std::span<const float> values, double interval,
                                       int perDecade = 20);

// Deviation at 1 s of the white part, which falls with the square root of tau: for rates in
// units/s it is the angle random walk in units/sqrt(s). From points where the slope of the curve is
// near -1/2; none if there are none.
std::optional<double> randomWalk(const std::vector<AllanPoint> &curve);

// The lowest point of the curve, divided by 0.664, the factor between the minimum of flicker noise
// and its coefficient. None if the curve still falls at its end: the record is too short.
struct BiasInstability
{
    double value; // in the units of the values
    double tau;   // of the minimum
};
std::optional<BiasInstability> biasInstability(const std::vector<AllanPoint> &curve);

} // namespace noise
