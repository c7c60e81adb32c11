#pragma once

// Computes a magnetometer calibration from raw readings and judges it with reasons in words. The
// reasons are English: they are for a terminal and for scripts. Pure: any thread, no lock.

#include <optional>
#include <string>
#include <vector>

#include "fit/ellipsoid_fit.h"
#include "fit/fit_judgement.h"
#include "fit/quality_metrics.h"
#include "fit/sphere_coverage.h"

namespace ellipsoid {

struct CalibrationOptions
{
    // Strength of the field where the readings were taken, in their units. None: the strength is
    // reported and only compared with the offset, because the units are those of the device.
    std::optional<double> fieldStrength;
};

// One finding about one aspect; the overall verdict is the worst of them.
struct Reason
{
    enum class Aspect { Samples, Directions, Residual, Shape, FieldStrength };
    Aspect aspect;
    Verdict verdict;
    std::string text; // a sentence without its full stop
};

struct Calibration
{
    std::size_t readings = 0; // as given
    std::size_t used = 0;     // after thinning
    std::size_t notFinite = 0;
    int iterations = 0;
    Correction correction;
    Judgement judgement = Judgement::TooFewSamples;
    // False if the readings determine no ellipsoid; the correction then must not be used, and the
    // figures below are 0.
    bool isDetermined() const { return judgement == Judgement::Determined; }

    Coverage coverage;
    // Standard deviation of the lengths divided by their mean: of the raw readings, and of the
    // corrected ones. Over all finite readings, also those that thinning has removed.
    double residualBefore = 0;
    double residualAfter = 0;
    Eigen::Vector3d halfAxes = Eigen::Vector3d::Zero(); // ascending, in the units of the readings
    double fieldStrength = 0;                           // geometric mean of the half axes
    double offset = 0;                                  // distance of the centre from the origin

    Verdict verdict = Verdict::Bad;
    std::vector<Reason> reasons; // one for each aspect that could be judged, in the order of Aspect
};

Calibration calibrate(const Readings &samples, const CalibrationOptions &options = {});

// "good", "acceptable", "bad".
const char *word(Verdict verdict);
// "readings", "coverage", "residual", "shape", "field strength".
const char *word(Reason::Aspect aspect);

} // namespace ellipsoid
