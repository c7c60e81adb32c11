#include "fit/thinning.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <unordered_set>

namespace ellipsoid {

namespace {

bool isFinite(const Reading &reading)
{
    return std::all_of(reading.begin(), reading.end(), [](float v) { return std::isfinite(v); });
}

struct Box
{
    Eigen::Array3d low = Eigen::Array3d::Constant(INFINITY);
    Eigen::Array3d high = Eigen::Array3d::Constant(-INFINITY);

    void include(const Eigen::Array3d &point)
    {
        low = low.min(point);
        high = high.max(point);
    }
};

Eigen::Array3d toArray(const Reading &reading)
{
    return {reading[0], reading[1], reading[2]};
}

// The three indices are below 2 / fraction + 1, so each fits into 21 bits.
std::uint64_t cubeOf(const Eigen::Array3d &offset, double edge)
{
    std::uint64_t cube = 0;
    for (int axis = 0; axis < 3; ++axis)
        cube = cube << 21 | static_cast<std::uint64_t>(offset[axis] / edge);
    return cube;
}

} // namespace

Readings thinned(const Readings &samples, double fraction)
{
    Box box;
    for (const Reading &sample : samples) {
        if (isFinite(sample))
            box.include(toArray(sample));
    }
    const double edge = (box.high - box.low).maxCoeff() / 2 * fraction;
    std::unordered_set<std::uint64_t> taken;
    Readings kept;
    for (const Reading &sample : samples) {
        if (!isFinite(sample))
            continue;
        // Equal readings give a box without extent; they all belong to one cube.
        const std::uint64_t cube = edge > 0 ? cubeOf(toArray(sample) - box.low, edge) : 0;
        if (taken.insert(cube).second)
            kept.push_back(sample);
    }
    return kept;
}

} // namespace ellipsoid
