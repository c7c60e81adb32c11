// When a fit determines an ellipsoid. The deviation alone is not enough: it is also small where
// many ellipsoids fit.

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

#include <QTest>

#include "fit/fit_judgement.h"
#include "fit/quality_metrics.h"
#include "tests/fit/made_ellipsoid.h"

using namespace ellipsoid;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr double kDegree = std::numbers::pi / 180;

MadeEllipsoid tilted()
{
    return {{40, 50, 60}, Maker(5).rotation(), {12, -7, 3}};
}

Reading toReading(const Eigen::Vector3d &point)
{
    const Eigen::Vector3f reading = point.cast<float>();
    return {reading.x(), reading.y(), reading.z()};
}

// Readings of a device that turns about one axis only: a circle of radius 25.
Readings ring(double noise, const Eigen::Matrix3d &rotation = Eigen::Matrix3d::Identity())
{
    Maker maker(1);
    Readings samples;
    for (int i = 0; i < 100; ++i) {
        const double angle = 10.8 * kDegree * i;
        const Eigen::Vector3d point(25 * std::cos(angle), 25 * std::sin(angle), 40);
        const Eigen::Vector3d error = noise * maker.normal();
        samples.push_back(toReading(rotation * point + error));
    }
    return samples;
}

// Readings within the given angle in degrees around one direction, on a sphere of radius 48.
Readings cap(double degrees, double noise)
{
    Maker maker(1);
    Readings samples;
    for (int i = 0; i < 200; ++i) {
        const double height = maker.uniform(std::cos(degrees * kDegree), 1);
        const double around = maker.uniform(0, 360 * kDegree);
        const double radius = std::sqrt(1 - height * height);
        const Eigen::Vector3d direction(radius * std::cos(around), radius * std::sin(around),
                                        height);
        const Eigen::Vector3d error = noise * maker.normal();
        samples.push_back(toReading(48 * direction + error));
    }
    return samples;
}

// The minimum of nine samples: the six ends of the axes of a sphere, and one point between each two
// axes.
Readings nine()
{
    return {{51, 2, 3},  {-49, 2, 3}, {1, 52, 3},  {1, -48, 3}, {1, 2, 53},
            {1, 2, -47}, {31, 42, 3}, {31, 2, 43}, {1, 32, 43}};
}

Readings hyperboloid()
{
    Maker maker(1);
    Readings samples;
    for (int i = 0; i < 40; ++i) {
        const double around = maker.uniform(0, 360 * kDegree);
        const double height = maker.uniform(-1, 1);
        const double radius = std::sqrt(1 + height * height);
        samples.push_back(toReading(
            40 * Eigen::Vector3d(radius * std::cos(around), radius * std::sin(around), height)));
    }
    return samples;
}

Readings repeated(const Readings &samples, int times)
{
    Readings all;
    for (int i = 0; i < times; ++i)
        all.insert(all.end(), samples.begin(), samples.end());
    return all;
}

Readings with(Readings samples, float reading)
{
    samples[3][1] = reading;
    return samples;
}

Readings line()
{
    Readings samples;
    for (int i = 0; i < 36; ++i) {
        const auto at = static_cast<float>(i);
        samples.push_back({at, 2 * at, 3 * at});
    }
    return samples;
}

// The same steps as in the dialog.
Judgement judgementOn(const Readings &samples)
{
    const Fit result = fit(samples);
    return judge(samples, result.shape, deriveCorrection(result.shape, result.centre));
}

} // namespace

Q_DECLARE_METATYPE(ellipsoid::Readings)
Q_DECLARE_METATYPE(ellipsoid::Judgement)

class TestFitJudgement : public QObject
{
    Q_OBJECT

private slots:
    void judgesSamples_data();
    void judgesSamples();
    void fewDirectionsAreNeverEnough_data();
    void fewDirectionsAreNeverEnough();
    void judgesFigures_data();
    void judgesFigures();
    void meaninglessFitsAreGoodByTheirDeviation();
};

void TestFitJudgement::judgesSamples_data()
{
    QTest::addColumn<Readings>("samples");
    QTest::addColumn<Judgement>("judgement");
    const auto row = [](const char *name, const Readings &samples, Judgement judgement) {
        QTest::newRow(name) << samples << judgement;
    };
    const Readings many = Maker(1).samples(tilted(), 100);
    row("all directions", many, Judgement::Determined);
    row("all directions, noise", Maker(1).samples(tilted(), 300, 0.5), Judgement::Determined);
    row("twenty samples", Maker(1).samples(tilted(), 20, 0.15), Judgement::Determined);
    row("nine samples", nine(), Judgement::Determined);
    row("a long ellipsoid",
        Maker(1).samples({{2, 3.25, 40}, Eigen::Matrix3d::Identity(), {1, 2.5, -30}}, 50),
        Judgement::Determined);
    row("a large ellipsoid", Maker(1).samples({{4000, 5000, 6000}, tilted().rotation}, 100),
        Judgement::Determined);
    row("half a sphere", cap(90, 0.15), Judgement::Determined);
    row("a quarter of a sphere", cap(60, 0.15), Judgement::Determined);

    row("one sample", {{1, 2, 3}}, Judgement::TooFewSamples);
    row("eight samples", Maker(1).samples(tilted(), 8), Judgement::TooFewSamples);

    row("not a number", with(many, kNan), Judgement::NotFinite);
    row("infinite", with(many, kInfinity), Judgement::NotFinite);
    row("one of 1e25", with(many, 1e25F), Judgement::NotFinite);
    row("all of 1e25", Maker(1).samples({{1e25, 1e25, 1e25}, tilted().rotation}, 100),
        Judgement::NotFinite);

    row("another surface", hyperboloid(), Judgement::NotAnEllipsoid);
    row("a line", line(), Judgement::NotAnEllipsoid);

    row("36 equal samples", Readings(36, Reading{12, -7, 40}), Judgement::TooFewDirections);
    row("below the floor of the fit",
        Maker(1).samples({{9e-4, 9e-4, 9e-4}, tilted().rotation, {0, 0, 0}}, 36),
        Judgement::TooFewDirections);
    row("a level ring", ring(0), Judgement::TooFewDirections);
    row("six corners, repeated",
        repeated({{3, 2, 1}, {-1, 2, 1}, {1, 4, 1}, {1, 0, 1}, {1, 2, 3}, {1, 2, -1}}, 6),
        Judgement::TooFewDirections);
    row("a cap", cap(40, 0), Judgement::TooFewDirections);
}

void TestFitJudgement::judgesSamples()
{
    QFETCH(Readings, samples);
    QFETCH(Judgement, judgement);
    QCOMPARE(static_cast<int>(judgementOn(samples)), static_cast<int>(judgement));
}

// Noise and rounding decide at which surface the fit ends, so any judgement except Determined is
// right.
void TestFitJudgement::fewDirectionsAreNeverEnough_data()
{
    QTest::addColumn<Readings>("samples");
    QTest::newRow("a tilted ring") << ring(0, tilted().rotation);
    QTest::newRow("a level ring, noise") << ring(0.05);
    QTest::newRow("a tilted ring, noise") << ring(0.05, tilted().rotation);
    QTest::newRow("a cap of 30 degrees, noise") << cap(30, 0.15);
    QTest::newRow("two readings, repeated") << repeated({{1, 2, 3}, {5, -6, 7}}, 18);
}

void TestFitJudgement::fewDirectionsAreNeverEnough()
{
    QFETCH(Readings, samples);
    QVERIFY(judgementOn(samples) != Judgement::Determined);
}

void TestFitJudgement::judgesFigures_data()
{
    using Change = std::function<void(Eigen::Matrix3f &, Correction &)>;
    QTest::addColumn<Change>("change");
    QTest::addColumn<Judgement>("judgement");
    const auto row = [](const char *name, Judgement judgement, const Change &change) {
        QTest::newRow(name) << change << judgement;
    };
    using Shape = Eigen::Matrix3f;
    row("as fitted", Judgement::Determined, [](Shape &, Correction &) {});
    row("shape", Judgement::NotFinite, [](Shape &shape, Correction &) { shape(1, 2) = kNan; });
    row("bias", Judgement::NotFinite, [](Shape &, Correction &c) { c.bias[2] = kInfinity; });
    row("matrix", Judgement::NotFinite, [](Shape &, Correction &c) { c.matrix(0, 2) = kNan; });
    row("zero on the diagonal", Judgement::NotFinite,
        [](Shape &, Correction &c) { c.matrix(1, 1) = 0; });
    row("negative diagonal", Judgement::NotAnEllipsoid,
        [](Shape &, Correction &c) { c.matrix(2, 2) *= -1; });
    row("indefinite, positive diagonal", Judgement::NotAnEllipsoid,
        [](Shape &shape, Correction &) { shape(0, 1) = shape(1, 0) = 2 * shape(0, 0); });
}

void TestFitJudgement::judgesFigures()
{
    using Change = std::function<void(Eigen::Matrix3f &, Correction &)>;
    QFETCH(Change, change);
    QFETCH(Judgement, judgement);
    const Readings samples = Maker(1).samples({}, 100);
    Fit result = fit(samples);
    Correction correction = deriveCorrection(result.shape, result.centre);
    change(result.shape, correction);
    QCOMPARE(static_cast<int>(judge(samples, result.shape, correction)),
             static_cast<int>(judgement));
}

// The deviation's word is "Good" for these fits, which is why a judgement exists besides it.
void TestFitJudgement::meaninglessFitsAreGoodByTheirDeviation()
{
    for (const Readings &samples : {Readings(36, Reading{12, -7, 40}), ring(0)}) {
        const Fit result = fit(samples);
        const Correction correction = deriveCorrection(result.shape, result.centre);
        QVERIFY(verdictOn(qualityMetrics(samples, correction).deviation) == Verdict::Good);
        QVERIFY(judge(samples, result.shape, correction) != Judgement::Determined);
    }
}

QTEST_APPLESS_MAIN(TestFitJudgement)

#include "test_fit_judgement.moc"
