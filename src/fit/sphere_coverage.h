#pragma once

// Counts the directions from which the field has reached the sensor. Pure: any thread, no lock.

#include <bitset>

#include "fit/ellipsoid_fit.h"

namespace ellipsoid {

// The sphere is divided along the axes of the sensor: six faces of a cube, each of 3 x 3 sections
// of equal angles. A section is about 30 degrees wide.
inline constexpr std::size_t kSectionsPerFace = 9;
inline constexpr std::size_t kSections = 6 * kSectionsPerFace;

// Faces in the order +x, -x, +y, -y, +z, -z.
using Coverage = std::bitset<kSections>;

// The section of a direction, in the frame of the sensor; its length has no effect. kSections if it
// is zero or not finite.
std::size_t sectionOf(const Eigen::Vector3f &direction);

// The sections that hold a reading, seen from the centre.
Coverage coverage(const Readings &samples, const Eigen::Vector3f &centre);

// From 0 to 1.
inline double covered(const Coverage &coverage)
{
    return static_cast<double>(coverage.count()) / static_cast<double>(kSections);
}

// The face with the fewest covered sections, as the axis that points through it: "+x" to "-z". The
// first one if several are equal.
const char *leastCoveredFace(const Coverage &coverage);

} // namespace ellipsoid
