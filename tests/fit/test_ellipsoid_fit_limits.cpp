#include <cmath>
#include <limits>

#include <QTest>

#include "fit/ellipsoid_fit.h"
#include "tests/fit/made_ellipsoid.h"
#include "tests/fit/reference_fit.h"

using ellipsoid::Readings;

namespace {

constexpr float kFlat = 999999.9F;

Readings octahedron(float radius)
{
    return {{radius, 0, 0},  {-radius, 0, 0}, {0, radius, 0},
            {0, -radius, 0}, {0, 0, radius},  {0, 0, -radius}};
}

// The length of each step that the fit would take in double precision.
std::vector<double> stepLengths(const Readings &samples, int count)
{
    const Eigen::MatrixX3d p = reference::asRows(samples);
    const Eigen::RowVector3d low = p.colwise().minCoeff();
    const Eigen::RowVector3d high = p.colwise().maxCoeff();
    const Eigen::Vector3d k = ((high - low) / 2).cwiseAbs2().cwiseInverse().transpose();
    Eigen::VectorXd theta(9);
    theta << k[0], 0, 0, k[1], 0, k[2], ((high + low) / 2).transpose();
    const reference::Problem problem(samples);
    Eigen::VectorXd r(p.rows());
    Eigen::MatrixXd j(p.rows(), 9);
    std::vector<double> lengths;
    for (int i = 0; i < count; ++i) {
        problem(theta, r);
        problem.df(theta, j);
        const Eigen::VectorXd step = -j.colPivHouseholderQr().solve(r);
        theta += step;
        lengths.push_back(step.norm());
    }
    return lengths;
}

} // namespace

// Samples that do not determine an ellipsoid, and the end of the iterations.
class TestEllipsoidFitLimits : public QObject
{
    Q_OBJECT

private slots:
    void noSamples();
    void oneSample();
    void samplesInAnAlignedPlane();
    void flatSetsStayFinite_data();
    void flatSetsStayFinite();
    void tiltedFlatSetsEnd();
    void halfRangeBelowAThousandthIsFlat();
    void boundaryOfAFlatAxis_data();
    void boundaryOfAFlatAxis();
    void stopsWithTheFirstSmallStep_data();
    void stopsWithTheFirstSmallStep();
    void keepsTheStepThatEndsTheSearch();
    void fifteenIterationsWhenNoStepIsSmall();
    void nanAndInfinityGiveNan_data();
    void nanAndInfinityGiveNan();
};

void TestEllipsoidFitLimits::noSamples()
{
    const ellipsoid::Fit fit = ellipsoid::fit({});
    QCOMPARE(fit.centre, Eigen::Vector3f(0, 0, 0));
    QCOMPARE(fit.shape, Eigen::Matrix3f(Eigen::Vector3f::Constant(kFlat).asDiagonal()));
    QCOMPARE(fit.iterations, 1);
}

void TestEllipsoidFitLimits::oneSample()
{
    const ellipsoid::Fit fit = ellipsoid::fit({{0.25F, -3.0F, 41.5F}});
    QCOMPARE(fit.centre, Eigen::Vector3f(0.25F, -3.0F, 41.5F));
    QCOMPARE(fit.shape, Eigen::Matrix3f(Eigen::Vector3f::Constant(kFlat).asDiagonal()));
    QCOMPARE(fit.iterations, 1);
    const auto correction = correctionFor(fit);
    QVERIFY((correction.matrix - Eigen::Matrix3f::Identity() * 1000.0F).norm() < 1e-3F);
}

// The axis without extent keeps its first stiffness and centre exactly, because the readings
// contain no information about it.
void TestEllipsoidFitLimits::samplesInAnAlignedPlane()
{
    Readings ring;
    for (int i = 0; i < 36; ++i) {
        const double angle = i * M_PI / 18;
        ring.push_back({static_cast<float>(0.5 + 2 * std::cos(angle)),
                        static_cast<float>(1.5 * std::sin(angle)), 7.0F});
    }
    const ellipsoid::Fit fit = ellipsoid::fit(ring);
    QCOMPARE(fit.shape(2, 2), kFlat);
    QCOMPARE(fit.centre.z(), 7.0F);
    QVERIFY(std::abs(fit.shape(0, 0) - 0.25F) < 1e-5F);
    QVERIFY(std::abs(fit.shape(1, 1) - 1 / 2.25F) < 1e-5F);
    QVERIFY(std::abs(fit.centre.x() - 0.5F) < 1e-5F);
}

void TestEllipsoidFitLimits::flatSetsStayFinite_data()
{
    QTest::addColumn<Readings>("samples");
    const auto spread = [](const Eigen::Vector3d &along, const Eigen::Vector3d &across) {
        Readings samples;
        for (int i = 0; i < 40; ++i) {
            const double angle = i * M_PI / 20;
            const Eigen::Vector3f p =
                (Eigen::Vector3d(1, 2, 3) + along * std::cos(angle) + across * std::sin(angle))
                    .cast<float>();
            samples.push_back({p.x(), p.y(), p.z()});
        }
        return samples;
    };
    QTest::newRow("two samples") << Readings{{1, 2, 3}, {2, 3, 5}};
    QTest::newRow("the same sample often") << Readings(30, {0.1F, 0.2F, 0.3F});
    QTest::newRow("line along an axis") << spread({2, 0, 0}, {0, 0, 0});
    QTest::newRow("plane of two axes") << spread({0, 3, 0}, {0, 0, 0.5});
}

void TestEllipsoidFitLimits::flatSetsStayFinite()
{
    QFETCH(Readings, samples);
    const ellipsoid::Fit fit = ellipsoid::fit(samples);
    QVERIFY(fit.shape.allFinite());
    QVERIFY(fit.centre.allFinite());
    QVERIFY(fit.iterations >= 1 && fit.iterations <= 15);
}

// A flat but tilted set leaves the normal equations singular apart from the ridge, and the steps
// may diverge. The fit only guarantees that it ends.
void TestEllipsoidFitLimits::tiltedFlatSetsEnd()
{
    Readings line;
    Readings plane;
    for (int i = 0; i < 40; ++i) {
        const float t = 0.1F * static_cast<float>(i);
        line.push_back({t, t, t});
        plane.push_back({std::cos(t), std::sin(t), std::cos(t)});
    }
    for (const Readings &samples : {line, plane}) {
        const ellipsoid::Fit fit = ellipsoid::fit(samples);
        QVERIFY(fit.iterations >= 1 && fit.iterations <= 15);
        QCOMPARE(correctionFor(fit).matrix(2, 0), 0.0F);
    }
}

// Two samples so close that the ridge outweighs them: each iteration adds less than 1 to the first
// guess, which is 999999.9 below a half range of 0.001 and 1 / r^2 above it.
void TestEllipsoidFitLimits::halfRangeBelowAThousandthIsFlat()
{
    const auto stiffnessAlongZ = [](float halfRange) {
        return ellipsoid::fit({{0, 0, halfRange}, {0, 0, -halfRange}}).shape(2, 2);
    };
    QVERIFY(std::abs(stiffnessAlongZ(0.0009F) - kFlat) < 15.0F);
    QVERIFY(std::abs(stiffnessAlongZ(0.0011F) - 826446.3F) < 15.0F);
}

void TestEllipsoidFitLimits::boundaryOfAFlatAxis_data()
{
    QTest::addColumn<float>("halfRange");
    QTest::addColumn<float>("stiffness");
    const float boundary = 0.001F;
    const float below = std::nextafter(boundary, 0.0F);
    const float above = std::nextafter(boundary, 1.0F);
    QTest::newRow("just below: flat") << below << kFlat;
    QTest::newRow("at it: not flat") << boundary << 1.0F / (boundary * boundary);
    QTest::newRow("just above: not flat") << above << 1.0F / (above * above);
}

// Compares to the last bit, because QCOMPARE has a tolerance. At the boundary itself the inverse
// square rounds to the stiffness of a flat axis, so the two cases are equal there; just below and
// above they differ.
void TestEllipsoidFitLimits::boundaryOfAFlatAxis()
{
    QFETCH(float, halfRange);
    QFETCH(float, stiffness);
    const float found = ellipsoid::fit({{0, 0, halfRange}, {0, 0, -halfRange}}).shape(2, 2);
    QVERIFY2(found == stiffness, qPrintable(QString::number(static_cast<double>(found), 'g', 9)));
}

void TestEllipsoidFitLimits::stopsWithTheFirstSmallStep_data()
{
    QTest::addColumn<Readings>("samples");
    QTest::addColumn<int>("iterations");
    QTest::newRow("guess is exact") << octahedron(1) << 1;
    const Eigen::Matrix3d upright = Eigen::Matrix3d::Identity();
    const MadeEllipsoid sphere{{1, 1, 1}, upright, {0.1, 0, 0}};
    const MadeEllipsoid tilted{{0.8, 1, 1.3}, rotationAbout({1, 1, 1}, 40), {0.1, 0.2, 0.3}};
    QTest::newRow("sphere") << Maker(1).samples(sphere, 500) << 3;
    QTest::newRow("a step of 4e-6 is not small") << Maker(6).samples(sphere, 200) << 4;
    QTest::newRow("rotated") << Maker(1).samples(tilted, 500) << 4;
    QTest::newRow("few samples") << Maker(2).samples(tilted, 15) << 4;
}

void TestEllipsoidFitLimits::stopsWithTheFirstSmallStep()
{
    QFETCH(Readings, samples);
    QFETCH(int, iterations);
    QCOMPARE(ellipsoid::fit(samples).iterations, iterations);
    if (samples.size() < 9)
        return;
    // The expected count is that of double arithmetic. The bounds leave a margin for float on both
    // sides.
    const auto lengths = stepLengths(samples, iterations);
    QVERIFY2(lengths.back() < 3e-7, qPrintable(QString::number(lengths.back())));
    for (std::size_t i = 0; i + 1 < lengths.size(); ++i)
        QVERIFY2(lengths[i] > 3e-6, qPrintable(QString::number(lengths[i])));
}

// Two samples on one side lie 3e-7 outside the first guess. The only step is that small, and the
// fit applies it.
void TestEllipsoidFitLimits::keepsTheStepThatEndsTheSearch()
{
    Readings samples = octahedron(1);
    samples.push_back({0.707107F, 0.707107F, 0});
    samples.push_back({0.707107F, 0, 0.707107F});
    const ellipsoid::Fit fit = ellipsoid::fit(samples);
    QCOMPARE(fit.iterations, 1);
    QVERIFY(fit.centre.x() != 0.0F);
}

// Near 50 a float cannot change by a millionth, so no step counts as small and all iterations run.
void TestEllipsoidFitLimits::fifteenIterationsWhenNoStepIsSmall()
{
    const MadeEllipsoid made{{40, 50, 60}, rotationAbout({1, 1, 1}, 40), {300, -200, 100}};
    QCOMPARE(ellipsoid::fit(Maker(5).samples(made, 1000, 0.25)).iterations, 15);
}

void TestEllipsoidFitLimits::nanAndInfinityGiveNan_data()
{
    QTest::addColumn<float>("value");
    QTest::newRow("not a number") << std::numeric_limits<float>::quiet_NaN();
    QTest::newRow("infinite") << std::numeric_limits<float>::infinity();
}

void TestEllipsoidFitLimits::nanAndInfinityGiveNan()
{
    QFETCH(float, value);
    Readings samples = Maker(6).samples({}, 50);
    samples[20][1] = value;
    const ellipsoid::Fit fit = ellipsoid::fit(samples);
    QVERIFY(fit.shape.array().isNaN().all());
    QVERIFY(fit.centre.array().isNaN().any());
    QCOMPARE(fit.iterations, 15);
    const auto correction = correctionFor(fit);
    for (const ellipsoid::Reading &sample : samples)
        QVERIFY(std::isnan(correction.corrected(sample).norm()));
}

QTEST_APPLESS_MAIN(TestEllipsoidFitLimits)

#include "test_ellipsoid_fit_limits.moc"
