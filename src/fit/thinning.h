#pragma once

// Removes raw readings that lie close to an earlier one. A device that rests for a while sends many
// readings of one direction, and without thinning they would outweigh all others. Pure: any thread,
// no lock.

#include "fit/ellipsoid_fit.h"

namespace ellipsoid {

// Divides the bounding box into cubes and keeps the first reading in each, in order. The edge of a
// cube is `fraction` of the longest half edge of the box; fraction is at least 0.001. Readings that
// are not finite are removed.
Readings thinned(const Readings &samples, double fraction = 0.05);

} // namespace ellipsoid
