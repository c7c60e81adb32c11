#include "fit/sphere_coverage.h"

#include <array>
#include <cmath>

namespace ellipsoid {

namespace {

constexpr std::size_t kFaces = 6;

// The third of a face on which a coordinate lies; `ratio` is the tangent of the angle from the
// middle, from -1 to 1. A face spans 90 degrees, a third of it 30.
std::size_t third(float ratio)
{
    static const float kBorder = std::tan(std::atan(1.0F) / 3); // 15 degrees
    if (ratio < -kBorder)
        return 0;
    return ratio < kBorder ? 1 : 2;
}

} // namespace

std::size_t sectionOf(const Eigen::Vector3f &direction)
{
    Eigen::Index axis = 0;
    const float longest = direction.cwiseAbs().maxCoeff(&axis);
    if (!direction.allFinite() || longest <= 0)
        return kSections;
    const std::size_t face = 2 * static_cast<std::size_t>(axis) + (direction[axis] < 0 ? 1 : 0);
    const float row = direction[(axis + 1) % 3] / longest;
    const float column = direction[(axis + 2) % 3] / longest;
    return face * kSectionsPerFace + third(row) * 3 + third(column);
}

Coverage coverage(const Readings &samples, const Eigen::Vector3f &centre)
{
    Coverage seen;
    for (const Reading &sample : samples) {
        const std::size_t section = sectionOf(Eigen::Vector3f::Map(sample.data()) - centre);
        if (section < kSections)
            seen.set(section);
    }
    return seen;
}

const char *leastCoveredFace(const Coverage &coverage)
{
    constexpr std::array<const char *, kFaces> kNames{"+x", "-x", "+y", "-y", "+z", "-z"};
    std::size_t least = 0;
    std::size_t fewest = kSectionsPerFace + 1;
    for (std::size_t face = 0; face < kFaces; ++face) {
        std::size_t count = 0;
        for (std::size_t i = 0; i < kSectionsPerFace; ++i)
            count += coverage.test(face * kSectionsPerFace + i) ? 1 : 0;
        if (count < fewest) {
            fewest = count;
            least = face;
        }
    }
    return kNames[least];
}

} // namespace ellipsoid
