// The calibration against known distortions, and its verdicts.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include <QTest>

#include "fit/calibration.h"
#include "tests/fit/made_ellipsoid.h"

using namespace ellipsoid;
using Aspect = Reason::Aspect;

namespace {

constexpr double kField = 48;
constexpr double kNoise = 0.005 * kField;
constexpr int kReadings = 600;
constexpr int kDistortions = 200;

Reading toReading(const Eigen::Vector3d &point)
{
    const Eigen::Vector3f reading = point.cast<float>();
    return {reading.x(), reading.y(), reading.z()};
}

Eigen::Vector3d onSurface(const MadeEllipsoid &truth, const Eigen::Vector3d &direction)
{
    return truth.centre + truth.rotation * truth.halfAxes.cwiseProduct(direction);
}

// Directions of the field within `degrees` of a random axis: 180 is the whole sphere, 90 half.
Readings readings(Maker &maker, const MadeEllipsoid &truth, double degrees)
{
    const Eigen::Vector3d axis = maker.normal().normalized();
    const double least = std::cos(degrees * 3.14159265358979 / 180);
    Readings made;
    while (made.size() < kReadings) {
        const Eigen::Vector3d direction = maker.normal().normalized();
        if (direction.dot(axis) >= least)
            made.push_back(toReading(onSurface(truth, direction) + kNoise * maker.normal()));
    }
    return made;
}

struct Errors
{
    double centre; // distance of the centres, in parts of the field
    double length; // largest error of a corrected length, over the whole true surface
};

Errors errorsOf(const Correction &correction, const MadeEllipsoid &truth)
{
    Errors errors{(correction.bias.cast<double>() - truth.centre).norm() / kField, 0};
    Maker maker(7);
    for (int i = 0; i < 500; ++i) {
        const Reading reading = toReading(onSurface(truth, maker.normal().normalized()));
        const double length = static_cast<double>(correction.corrected(reading).norm());
        errors.length = std::max(errors.length, std::abs(length - 1));
    }
    return errors;
}

struct Row
{
    std::array<int, 3> verdicts{}; // good, acceptable, bad
    std::vector<double> centre;
    std::vector<double> length;
    std::size_t fewestSections = kSections;
    std::size_t mostSections = 0;
};

Row tried(double degrees)
{
    Row row;
    for (std::uint64_t seed = 0; seed < kDistortions; ++seed) {
        Maker maker(1000 + seed);
        const MadeEllipsoid truth = maker.ellipsoid(kField);
        const Calibration result = calibrate(readings(maker, truth, degrees));
        ++row.verdicts[static_cast<std::size_t>(result.verdict)];
        row.fewestSections = std::min(row.fewestSections, result.coverage.count());
        row.mostSections = std::max(row.mostSections, result.coverage.count());
        if (!result.isDetermined())
            continue;
        const Errors errors = errorsOf(result.correction, truth);
        row.centre.push_back(errors.centre);
        row.length.push_back(errors.length);
    }
    std::sort(row.centre.begin(), row.centre.end());
    std::sort(row.length.begin(), row.length.end());
    return row;
}

void print(const char *name, const Row &row)
{
    std::printf(
        "| %-14s | %4d | %10d | %4d | %2zu to %2zu | %7.2f %% | %7.2f %% | %7.2f %% | %7.2f "
        "%% |\n",
        name, row.verdicts[0], row.verdicts[1], row.verdicts[2], row.fewestSections,
        row.mostSections, 100 * row.centre[row.centre.size() / 2], 100 * row.centre.back(),
        100 * row.length[row.length.size() / 2], 100 * row.length.back());
}

Verdict verdictOf(const Calibration &calibration, Aspect aspect)
{
    const auto found = std::find_if(calibration.reasons.begin(), calibration.reasons.end(),
                                    [&](const Reason &r) { return r.aspect == aspect; });
    return found == calibration.reasons.end() ? Verdict::Bad : found->verdict;
}

bool says(const Calibration &calibration, const char *text)
{
    return std::any_of(calibration.reasons.begin(), calibration.reasons.end(),
                       [&](const Reason &r) { return r.text.find(text) != std::string::npos; });
}

} // namespace

class TestCalibration : public QObject
{
    Q_OBJECT

private slots:
    void knownDistortions();
    void deviceAtRestDoesNotOutweighTheRest();
    void tooFewReadings();
    void ringIsBad();
    void noiseIsInTheResidual();
    void longEllipsoidIsInTheShape();
    void strengthIsComparedIfExpected();
    void largeOffsetIsReported();
    void readingsThatAreNotNumbersAreLeftOut();
    void worstReasonDecides();
};

void TestCalibration::knownDistortions()
{
    const Row whole = tried(180);
    const Row half = tried(90);
    std::printf("| %-14s | good | acceptable |  bad | sections | centre: median | worst | length: "
                "median | worst |\n",
                "200 each");
    print("whole sphere", whole);
    print("half of it", half);
    std::fflush(stdout);

    QCOMPARE(whole.verdicts[0], kDistortions);
    QVERIFY(whole.centre.back() < 0.005);
    QVERIFY(whole.length.back() < 0.01);
    QCOMPARE(half.verdicts[0], 0);
    QVERIFY(half.mostSections < kSections * 3 / 4);
}

// Ten times as many readings of one direction, a little noisy, must not move the fit.
void TestCalibration::deviceAtRestDoesNotOutweighTheRest()
{
    Maker maker(3);
    const MadeEllipsoid truth = maker.ellipsoid(kField);
    Readings made = readings(maker, truth, 180);
    const Eigen::Vector3d rest = 1.02 * onSurface(truth, Eigen::Vector3d::UnitX());
    for (int i = 0; i < 10 * kReadings; ++i)
        made.push_back(toReading(rest + 0.1 * kNoise * maker.normal()));

    const Calibration result = calibrate(made);
    QCOMPARE(result.readings, std::size_t(11 * kReadings));
    QVERIFY(result.used <= std::size_t(kReadings + 8));
    QVERIFY(errorsOf(result.correction, truth).length < 0.01);
}

void TestCalibration::tooFewReadings()
{
    for (const Readings &samples : {Readings{}, Readings(36, Reading{1, 2, 3})}) {
        const Calibration result = calibrate(samples);
        QVERIFY(result.verdict == Verdict::Bad);
        QVERIFY(!result.isDetermined());
        QCOMPARE(result.reasons.size(), std::size_t(1));
        QVERIFY(says(result, "at least 9 different readings"));
    }
}

void TestCalibration::ringIsBad()
{
    Maker maker(4);
    Readings samples;
    for (int i = 0; i < 300; ++i) {
        const double angle = maker.uniform(0, 6.28);
        samples.push_back(
            toReading(Eigen::Vector3d(30 * std::cos(angle), 30 * std::sin(angle), 40) +
                      kNoise * maker.normal()));
    }
    const Calibration result = calibrate(samples);
    QVERIFY(result.verdict == Verdict::Bad);
    QVERIFY(!result.isDetermined());
}

void TestCalibration::noiseIsInTheResidual()
{
    Maker maker(5);
    const MadeEllipsoid truth{{48, 48, 48}, Eigen::Matrix3d::Identity(), {10, 0, 0}};
    const Calibration clean = calibrate(maker.samples(truth, 2000, kNoise));
    QVERIFY(verdictOf(clean, Aspect::Residual) == Verdict::Good);
    QVERIFY(std::abs(clean.residualAfter - 0.005) < 0.001);
    QVERIFY(clean.residualBefore > 0.1 && clean.residualBefore < 0.14);

    const Calibration some = calibrate(maker.samples(truth, 2000, 0.05 * kField));
    QVERIFY(verdictOf(some, Aspect::Residual) == Verdict::Acceptable);
    QVERIFY(says(some, "the field changed while the device turned"));
    const Calibration much = calibrate(maker.samples(truth, 2000, 0.1 * kField));
    QVERIFY(verdictOf(much, Aspect::Residual) == Verdict::Bad);
    QVERIFY(much.verdict == Verdict::Bad);
}

void TestCalibration::longEllipsoidIsInTheShape()
{
    Maker maker(6);
    const auto shape = [&](double longest) {
        const MadeEllipsoid truth{{30, 40, longest}, maker.rotation(), {5, 6, 7}};
        return verdictOf(calibrate(maker.samples(truth, 2000)), Aspect::Shape);
    };
    QVERIFY(shape(59) == Verdict::Good);
    QVERIFY(shape(62) == Verdict::Acceptable);
    QVERIFY(shape(122) == Verdict::Bad);
}

void TestCalibration::strengthIsComparedIfExpected()
{
    Maker maker(8);
    const Readings samples = maker.samples({{40, 50, 60}, maker.rotation()}, 1000);
    QVERIFY(std::abs(calibrate(samples).fieldStrength - std::cbrt(40.0 * 50 * 60)) < 0.1);
    const auto strength = [&](double expected) {
        return verdictOf(calibrate(samples, {.fieldStrength = expected}), Aspect::FieldStrength);
    };
    QVERIFY(verdictOf(calibrate(samples), Aspect::FieldStrength) == Verdict::Good);
    QVERIFY(strength(48) == Verdict::Good);
    QVERIFY(strength(39) == Verdict::Acceptable); // 26 % above
    QVERIFY(strength(65) == Verdict::Acceptable); // 24 % below
    QVERIFY(strength(30) == Verdict::Bad);
    QVERIFY(strength(480) == Verdict::Bad); // in another unit
}

void TestCalibration::largeOffsetIsReported()
{
    Maker maker(9);
    const auto result = [&](double offset) {
        return calibrate(
            maker.samples({{40, 40, 40}, Eigen::Matrix3d::Identity(), {0, offset, 0}}, 500));
    };
    QVERIFY(verdictOf(result(115), Aspect::FieldStrength) == Verdict::Good);
    const Calibration far = result(-130);
    QVERIFY(verdictOf(far, Aspect::FieldStrength) == Verdict::Acceptable);
    QVERIFY(says(far, "the offset is 3.2 times the field") ||
            says(far, "the offset is 3.3 times the field"));
}

void TestCalibration::readingsThatAreNotNumbersAreLeftOut()
{
    Maker maker(10);
    Readings samples = maker.samples({{40, 50, 60}, maker.rotation()}, 500);
    samples[3][1] = std::numeric_limits<float>::quiet_NaN();
    samples[4][2] = std::numeric_limits<float>::infinity();
    const Calibration result = calibrate(samples);
    QCOMPARE(result.notFinite, std::size_t(2));
    QVERIFY(result.isDetermined());
    QVERIFY(result.verdict == Verdict::Acceptable);
    QVERIFY(says(result, "2 are not numbers"));
}

void TestCalibration::worstReasonDecides()
{
    Maker maker(11);
    const Readings samples = maker.samples({{40, 40, 40}, Eigen::Matrix3d::Identity()}, 1000);
    QVERIFY(calibrate(samples).verdict == Verdict::Good);
    QCOMPARE(calibrate(samples).reasons.size(), std::size_t(5));
    QVERIFY(calibrate(samples, {.fieldStrength = 32}).verdict == Verdict::Acceptable);
    QVERIFY(calibrate(samples, {.fieldStrength = 4}).verdict == Verdict::Bad);
}

QTEST_APPLESS_MAIN(TestCalibration)

#include "test_calibration.moc"
