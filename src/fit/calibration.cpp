#include "fit/calibration.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include <Eigen/Eigenvalues>

#include "fit/algebraic_start.h"
#include "fit/thinning.h"

namespace ellipsoid {

namespace {

using Aspect = Reason::Aspect;

// Half of the sphere covers up to 35 of the 54 sections, because its border crosses many. Turned by
// hand, a device easily reaches 50.
constexpr double kGoodCoverage = 0.85;
constexpr double kAcceptableCoverage = 0.75;

// Ratio of the longest and the shortest half axis. Iron on a circuit board and the tolerance of a
// sensor stay below 2; above 4 a fit is more likely wrong than the sensor.
constexpr double kGoodRatio = 2;
constexpr double kAcceptableRatio = 4;

// Difference of the measured strength from the expected one. Buildings and vehicles change the
// field by some tens of percent.
constexpr double kGoodStrength = 0.2;
constexpr double kAcceptableStrength = 0.5;

// Offset in multiples of the field. Above it, a magnet or a current is near, and the sensor may
// reach the end of its range.
constexpr double kGoodOffset = 3;

// Formats without a locale, so that scripts read the same everywhere.
std::string number(double value, int decimals)
{
    std::array<char, 64> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value,
                                      std::chars_format::fixed, decimals);
    return result.ec == std::errc() ? std::string(text.data(), result.ptr) : "?";
}

std::string significant(double value)
{
    std::array<char, 64> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 4);
    return {text.data(), result.ptr};
}

std::string percent(double value)
{
    return number(100 * value, value < 0.1 ? 2 : 0) + " %";
}

// Lower values are better.
Verdict grade(double value, double good, double acceptable)
{
    if (value <= good)
        return Verdict::Good;
    return value <= acceptable ? Verdict::Acceptable : Verdict::Bad;
}

Readings finite(const Readings &samples)
{
    Readings kept;
    kept.reserve(samples.size());
    std::copy_if(samples.begin(), samples.end(), std::back_inserter(kept), [](const Reading &r) {
        return std::all_of(r.begin(), r.end(), [](float v) { return std::isfinite(v); });
    });
    return kept;
}

double relativeDeviation(const Readings &samples, const Correction &correction)
{
    const QualityMetrics metrics = qualityMetrics(samples, correction);
    return static_cast<double>(metrics.deviation) / static_cast<double>(metrics.mean);
}

void measure(Calibration &result, const Readings &samples, const Eigen::Matrix3f &shape)
{
    const Eigen::Vector3d stiffness =
        Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(shape.cast<double>(), Eigen::EigenvaluesOnly)
            .eigenvalues();
    result.halfAxes = stiffness.reverse().cwiseInverse().cwiseSqrt();
    result.fieldStrength = std::cbrt(result.halfAxes.prod());
    result.offset = static_cast<double>(result.correction.bias.norm());
    result.coverage = coverage(samples, result.correction.bias);
    result.residualBefore = relativeDeviation(samples, Correction{});
    result.residualAfter = relativeDeviation(samples, result.correction);
}

Reason readingsReason(const Calibration &c)
{
    const std::string used =
        std::to_string(c.used) + " of " + std::to_string(c.readings) + " readings used";
    const std::string kept = "; the others lie close to these";
    switch (c.judgement) {
    case Judgement::TooFewSamples:
        return {Aspect::Samples, Verdict::Bad,
                used + ": at least " + std::to_string(kFewestSamples) +
                    " different readings are needed"};
    case Judgement::NotFinite:
        return {Aspect::Samples, Verdict::Bad, "the readings are too large for a fit"};
    case Judgement::NotAnEllipsoid:
        return {Aspect::Samples, Verdict::Bad,
                "the readings do not lie on an ellipsoid: turn the device through more directions, "
                "away from moving iron"};
    case Judgement::TooFewDirections:
        return {Aspect::Samples, Verdict::Bad,
                "the readings are of too few directions: other ellipsoids fit as well"};
    case Judgement::Determined:
        break;
    }
    if (c.notFinite > 0)
        return {Aspect::Samples, Verdict::Acceptable,
                used + "; " + std::to_string(c.notFinite) + " are not numbers"};
    return {Aspect::Samples, Verdict::Good, c.used < c.readings ? used + kept : used};
}

Reason coverageReason(const Calibration &c)
{
    const double part = covered(c.coverage);
    Reason reason{Aspect::Directions, grade(-part, -kGoodCoverage, -kAcceptableCoverage),
                  std::to_string(c.coverage.count()) + " of " + std::to_string(kSections) +
                      " sections of the sphere"};
    if (reason.verdict != Verdict::Good)
        reason.text +=
            std::string(": too little towards ") + leastCoveredFace(c.coverage) + " of the sensor";
    return reason;
}

Reason residualReason(const Calibration &c)
{
    const Verdict verdict = verdictOn(static_cast<float>(c.residualAfter));
    std::string text =
        percent(c.residualBefore) + " before, " + percent(c.residualAfter) + " after";
    if (verdict != Verdict::Good)
        text += ": the field changed while the device turned, or the readings are noisy";
    return {Aspect::Residual, verdict, text};
}

Reason shapeReason(const Calibration &c)
{
    const double ratio = c.halfAxes[2] / c.halfAxes[0];
    const Verdict verdict = grade(ratio, kGoodRatio, kAcceptableRatio);
    std::string text = "the longest half axis is " + number(ratio, 2) + " times the shortest";
    if (verdict != Verdict::Good)
        text += ": much iron near the sensor, or a wrong fit";
    return {Aspect::Shape, verdict, text};
}

Reason strengthReason(const Calibration &c, const CalibrationOptions &options)
{
    std::string text = significant(c.fieldStrength) + " in the units of the device, offset " +
                       significant(c.offset);
    Verdict verdict = Verdict::Good;
    if (options.fieldStrength) {
        const double difference = c.fieldStrength / *options.fieldStrength - 1;
        verdict = grade(std::abs(difference), kGoodStrength, kAcceptableStrength);
        text += ", expected " + significant(*options.fieldStrength);
    }
    if (c.offset > kGoodOffset * c.fieldStrength) {
        verdict = std::max(verdict, Verdict::Acceptable);
        text += ": the offset is " + number(c.offset / c.fieldStrength, 1) +
                " times the field, a magnet or a current is near the sensor";
    }
    return {Aspect::FieldStrength, verdict, text};
}

} // namespace

Calibration calibrate(const Readings &samples, const CalibrationOptions &options)
{
    Calibration result;
    result.readings = samples.size();
    const Readings usable = finite(samples);
    result.notFinite = samples.size() - usable.size();
    const Readings kept = thinned(usable);
    result.used = kept.size();

    if (kept.size() >= kFewestSamples) {
        const Fit fitted = fitFromAlgebraicStart(kept);
        result.iterations = fitted.iterations;
        result.correction = deriveCorrection(fitted.shape, fitted.centre);
        result.judgement = judge(kept, fitted.shape, result.correction);
        if (result.isDetermined())
            measure(result, usable, fitted.shape);
    }
    result.reasons.push_back(readingsReason(result));
    if (result.isDetermined()) {
        result.reasons.push_back(coverageReason(result));
        result.reasons.push_back(residualReason(result));
        result.reasons.push_back(shapeReason(result));
        result.reasons.push_back(strengthReason(result, options));
    }
    const auto worst =
        std::max_element(result.reasons.begin(), result.reasons.end(),
                         [](const Reason &a, const Reason &b) { return a.verdict < b.verdict; });
    result.verdict = worst->verdict;
    return result;
}

const char *word(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Good:
        return "good";
    case Verdict::Acceptable:
        return "acceptable";
    case Verdict::Bad:
        break;
    }
    return "bad";
}

const char *word(Reason::Aspect aspect)
{
    switch (aspect) {
    case Aspect::Samples:
        return "readings";
    case Aspect::Directions:
        return "coverage";
    case Aspect::Residual:
        return "residual";
    case Aspect::Shape:
        return "shape";
    case Aspect::FieldStrength:
        break;
    }
    return "field strength";
}

} // namespace ellipsoid
