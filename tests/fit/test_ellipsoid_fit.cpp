#include <cmath>
#include <limits>

#include <QTest>

#include "fit/ellipsoid_fit.h"
#include "tests/fit/made_ellipsoid.h"
#include "tests/fit/reference_fit.h"

using ellipsoid::Readings;

Q_DECLARE_METATYPE(MadeEllipsoid)

namespace {

constexpr float kFlat = 999999.9F;

// Errors relative to the size: of the shape to its norm, of the centre to the half axes.
double shapeError(const Eigen::Matrix3f &shape, const Eigen::Matrix3d &truth)
{
    return (shape.cast<double>() - truth).norm() / truth.norm();
}

double centreError(const Eigen::Vector3f &centre, const Eigen::Vector3d &truth, double size)
{
    return (centre.cast<double>() - truth).norm() / size;
}

Eigen::Matrix3d about(Eigen::Vector3d axis, double degrees)
{
    return Eigen::AngleAxisd(degrees * M_PI / 180, axis.normalized()).toRotationMatrix();
}

ellipsoid::Correction correctionFor(const ellipsoid::Fit &fit)
{
    return ellipsoid::deriveCorrection(fit.shape, fit.centre);
}

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

// Mean and standard deviation of the corrected lengths.
std::pair<double, double> spread(const Readings &samples, const ellipsoid::Correction &correction)
{
    Eigen::ArrayXd lengths(static_cast<Eigen::Index>(samples.size()));
    for (std::size_t i = 0; i < samples.size(); ++i)
        lengths[static_cast<Eigen::Index>(i)] = correction.corrected(samples[i]).norm();
    const double mean = lengths.mean();
    return {mean, std::sqrt((lengths - mean).square().mean())};
}

} // namespace

class TestEllipsoidFit : public QObject
{
    Q_OBJECT

private slots:
    void exactReadingsGiveTheTruth_data();
    void exactReadingsGiveTheTruth();
    void noisyReadingsGiveTheLeastSquaresAnswer_data();
    void noisyReadingsGiveTheLeastSquaresAnswer();
    void correctionOfASphereIsItsInverseRadius();
    void correctionOfAnAlignedEllipsoidIsDiagonal();

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

    void randomEllipsoidsBecomeTheUnitSphere();
    void orderOfSamplesDoesNotMatter();

    void factorIsUpperTriangular();
    void shapeIsMadeSymmetricFirst();
    void shapeThatHasNoFactorIsShiftedOnce();
};

void TestEllipsoidFit::exactReadingsGiveTheTruth_data()
{
    QTest::addColumn<MadeEllipsoid>("made");
    QTest::addColumn<int>("count");
    const Eigen::Matrix3d upright = Eigen::Matrix3d::Identity();
    const Eigen::Matrix3d tilted = about({1, -2, 0.5}, 37);
    QTest::newRow("unit sphere") << MadeEllipsoid{{1, 1, 1}, upright, {0, 0, 0}} << 200;
    QTest::newRow("sphere off the origin")
        << MadeEllipsoid{{2, 2, 2}, upright, {0.3, -1, 5}} << 200;
    QTest::newRow("small sphere") << MadeEllipsoid{{.05, .05, .05}, upright, {.01, .02, -.03}}
                                  << 99;
    QTest::newRow("large sphere") << MadeEllipsoid{{50, 50, 50}, upright, {20, -10, 5}} << 200;
    QTest::newRow("aligned") << MadeEllipsoid{{0.8, 1, 1.3}, upright, {0.2, 0.1, -0.4}} << 200;
    QTest::newRow("rotated") << MadeEllipsoid{{0.8, 1, 1.3}, tilted, {0.2, 0.1, -0.4}} << 200;
    QTest::newRow("rotated, nine samples") << MadeEllipsoid{{0.9, 1, 1.1}, tilted, {0, 0, 0}} << 9;
    QTest::newRow("rotated, many samples")
        << MadeEllipsoid{{0.8, 1, 1.3}, tilted, {1, 2, 3}} << 9999;
    QTest::newRow("rotated, large") << MadeEllipsoid{{40, 50, 60}, tilted, {20, -10, 5}} << 200;
}

// Float rounding of the readings limits the accuracy to about 1e-6 of the size, times the distance
// of the ellipsoid from the origin. With 9 readings for 9 unknowns the bound is wider.
void TestEllipsoidFit::exactReadingsGiveTheTruth()
{
    QFETCH(MadeEllipsoid, made);
    QFETCH(int, count);
    const Readings samples = Maker(7).samples(made, count);
    const double size = made.halfAxes.mean();
    const double bound = count == 9 ? 1e-4 : 5e-6;

    const ellipsoid::Fit fit = ellipsoid::fit(samples);
    QVERIFY2(shapeError(fit.shape, made.shape()) < bound,
             qPrintable(QString::number(shapeError(fit.shape, made.shape()))));
    QVERIFY2(centreError(fit.centre, made.centre, size) < bound,
             qPrintable(QString::number(centreError(fit.centre, made.centre, size))));

    const reference::Fit other = reference::algebraic(samples);
    QVERIFY(shapeError(fit.shape, other.shape) < bound);
    QVERIFY(centreError(fit.centre, other.centre, size) < bound);
    QCOMPARE(fit.shape, Eigen::Matrix3f(fit.shape.transpose()));
}

void TestEllipsoidFit::noisyReadingsGiveTheLeastSquaresAnswer_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<double>("noise");
    QTest::addColumn<double>("size");
    for (const int count : {21, 100, 1000, 10000}) {
        for (const double noise : {0.005, 0.02}) {
            for (const double size : {1.0, 50.0})
                QTest::addRow("%d samples, noise %g, size %g", count, noise, size)
                    << count << noise << size;
        }
    }
}

// Two distances. The one to the least-squares minimum found in double precision comes from float
// rounding. The one to the true ellipsoid comes from noise and shrinks with the square root of the
// count.
void TestEllipsoidFit::noisyReadingsGiveTheLeastSquaresAnswer()
{
    QFETCH(int, count);
    QFETCH(double, noise);
    QFETCH(double, size);
    Maker maker(static_cast<std::uint64_t>(count));
    for (int trial = 0; trial < 2000 / count + 1; ++trial) {
        const MadeEllipsoid made = maker.ellipsoid(size);
        const Readings samples = maker.samples(made, count, noise * size);
        const ellipsoid::Fit fit = ellipsoid::fit(samples);
        const reference::Fit best = reference::leastSquares(samples);

        QVERIFY2(shapeError(fit.shape, best.shape) < 1e-5,
                 qPrintable(QString::number(shapeError(fit.shape, best.shape))));
        QVERIFY2(centreError(fit.centre, best.centre, size) < 1e-5,
                 qPrintable(QString::number(centreError(fit.centre, best.centre, size))));
        if (count < 100)
            continue; // so few samples can miss one side of the ellipsoid
        const double allowed = 12 * noise / std::sqrt(count) + 10 * noise * noise;
        QVERIFY2(shapeError(fit.shape, made.shape()) < 2 * allowed,
                 qPrintable(QString::number(shapeError(fit.shape, made.shape()) / allowed)));
        QVERIFY2(centreError(fit.centre, made.centre, size) < allowed,
                 qPrintable(QString::number(centreError(fit.centre, made.centre, size) / allowed)));
    }
}

void TestEllipsoidFit::correctionOfASphereIsItsInverseRadius()
{
    const MadeEllipsoid sphere{{2.5, 2.5, 2.5}, Eigen::Matrix3d::Identity(), {1, -2, 3}};
    const auto correction = correctionFor(ellipsoid::fit(Maker(3).samples(sphere, 300)));
    QVERIFY((correction.bias - Eigen::Vector3f(1, -2, 3)).norm() < 5e-6F);
    QVERIFY((correction.matrix - Eigen::Matrix3f::Identity() / 2.5F).norm() < 2e-6F);
    QVERIFY((correction.scale() - Eigen::Vector3f::Constant(2.5F)).norm() < 1e-5F);
}

void TestEllipsoidFit::correctionOfAnAlignedEllipsoidIsDiagonal()
{
    const MadeEllipsoid made{{0.5, 1, 2}, Eigen::Matrix3d::Identity(), {0.1, 0.2, 0.3}};
    const auto correction = correctionFor(ellipsoid::fit(Maker(4).samples(made, 300)));
    const Eigen::Matrix3f expected = Eigen::Vector3f(2, 1, 0.5F).asDiagonal();
    QVERIFY((correction.matrix - expected).norm() < 1e-5F);
    QVERIFY((correction.scale() - Eigen::Vector3f(0.5F, 1, 2)).norm() < 1e-5F);
}

void TestEllipsoidFit::noSamples()
{
    const ellipsoid::Fit fit = ellipsoid::fit({});
    QCOMPARE(fit.centre, Eigen::Vector3f(0, 0, 0));
    QCOMPARE(fit.shape, Eigen::Matrix3f(Eigen::Vector3f::Constant(kFlat).asDiagonal()));
    QCOMPARE(fit.iterations, 1);
}

void TestEllipsoidFit::oneSample()
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
void TestEllipsoidFit::samplesInAnAlignedPlane()
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

void TestEllipsoidFit::flatSetsStayFinite_data()
{
    QTest::addColumn<Readings>("samples");
    const auto spread = [](Eigen::Vector3d along, Eigen::Vector3d across) {
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

void TestEllipsoidFit::flatSetsStayFinite()
{
    QFETCH(Readings, samples);
    const ellipsoid::Fit fit = ellipsoid::fit(samples);
    QVERIFY(fit.shape.allFinite());
    QVERIFY(fit.centre.allFinite());
    QVERIFY(fit.iterations >= 1 && fit.iterations <= 15);
}

// A flat but tilted set leaves the normal equations singular apart from the ridge, and the steps
// may diverge. The fit only guarantees that it ends.
void TestEllipsoidFit::tiltedFlatSetsEnd()
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
void TestEllipsoidFit::halfRangeBelowAThousandthIsFlat()
{
    const auto stiffnessAlongZ = [](float halfRange) {
        return ellipsoid::fit({{0, 0, halfRange}, {0, 0, -halfRange}}).shape(2, 2);
    };
    QVERIFY(std::abs(stiffnessAlongZ(0.0009F) - kFlat) < 15.0F);
    QVERIFY(std::abs(stiffnessAlongZ(0.0011F) - 826446.3F) < 15.0F);
}

void TestEllipsoidFit::boundaryOfAFlatAxis_data()
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
void TestEllipsoidFit::boundaryOfAFlatAxis()
{
    QFETCH(float, halfRange);
    QFETCH(float, stiffness);
    const float found = ellipsoid::fit({{0, 0, halfRange}, {0, 0, -halfRange}}).shape(2, 2);
    QVERIFY2(found == stiffness, qPrintable(QString::number(static_cast<double>(found), 'g', 9)));
}

void TestEllipsoidFit::stopsWithTheFirstSmallStep_data()
{
    QTest::addColumn<Readings>("samples");
    QTest::addColumn<int>("iterations");
    QTest::newRow("guess is exact") << octahedron(1) << 1;
    const Eigen::Matrix3d upright = Eigen::Matrix3d::Identity();
    const MadeEllipsoid sphere{{1, 1, 1}, upright, {0.1, 0, 0}};
    const MadeEllipsoid tilted{{0.8, 1, 1.3}, about({1, 1, 1}, 40), {0.1, 0.2, 0.3}};
    QTest::newRow("sphere") << Maker(1).samples(sphere, 500) << 3;
    QTest::newRow("a step of 4e-6 is not small") << Maker(6).samples(sphere, 200) << 4;
    QTest::newRow("rotated") << Maker(1).samples(tilted, 500) << 4;
    QTest::newRow("few samples") << Maker(2).samples(tilted, 15) << 4;
}

void TestEllipsoidFit::stopsWithTheFirstSmallStep()
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
void TestEllipsoidFit::keepsTheStepThatEndsTheSearch()
{
    Readings samples = octahedron(1);
    samples.push_back({0.707107F, 0.707107F, 0});
    samples.push_back({0.707107F, 0, 0.707107F});
    const ellipsoid::Fit fit = ellipsoid::fit(samples);
    QCOMPARE(fit.iterations, 1);
    QVERIFY(fit.centre.x() != 0.0F);
}

// Near 50 a float cannot change by a millionth, so no step counts as small and all iterations run.
void TestEllipsoidFit::fifteenIterationsWhenNoStepIsSmall()
{
    const MadeEllipsoid made{{40, 50, 60}, about({1, 1, 1}, 40), {300, -200, 100}};
    QCOMPARE(ellipsoid::fit(Maker(5).samples(made, 1000, 0.25)).iterations, 15);
}

void TestEllipsoidFit::nanAndInfinityGiveNan_data()
{
    QTest::addColumn<float>("value");
    QTest::newRow("not a number") << std::numeric_limits<float>::quiet_NaN();
    QTest::newRow("infinite") << std::numeric_limits<float>::infinity();
}

void TestEllipsoidFit::nanAndInfinityGiveNan()
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

// 200 ellipsoids, each sampled with noise of 0 and of 0.5 % of its size. Noise along each axis
// scales with that axis's stiffness (0.7 to 1.3), which sets the bounds of the spread.
void TestEllipsoidFit::randomEllipsoidsBecomeTheUnitSphere()
{
    constexpr double kNoise = 0.005;
    Maker maker(2024);
    for (int trial = 0; trial < 200; ++trial) {
        const double size = std::pow(10.0, maker.uniform(-1, 2));
        const int count = static_cast<int>(maker.uniform(100, 600));
        const MadeEllipsoid made = maker.ellipsoid(size);

        const Readings exact = maker.samples(made, count);
        const auto [mean, none] = spread(exact, correctionFor(ellipsoid::fit(exact)));
        QVERIFY2(std::abs(mean - 1) < 2e-6, qPrintable(QString::number(mean - 1)));
        QVERIFY2(none < 2e-6, qPrintable(QString::number(none)));

        const Readings noisy = maker.samples(made, count, kNoise * size);
        const auto [noisyMean, deviation] = spread(noisy, correctionFor(ellipsoid::fit(noisy)));
        QVERIFY2(std::abs(noisyMean - 1) < 3e-4, qPrintable(QString::number(noisyMean - 1)));
        QVERIFY2(deviation > 0.8 * kNoise / 1.3 && deviation < 1.15 * kNoise / 0.7,
                 qPrintable(QString::number(deviation)));
    }
}

void TestEllipsoidFit::orderOfSamplesDoesNotMatter()
{
    Maker maker(11);
    for (int trial = 0; trial < 50; ++trial) {
        Readings samples = maker.samples(maker.ellipsoid(), 400, 0.005);
        const ellipsoid::Fit first = ellipsoid::fit(samples);
        maker.shuffle(samples);
        const ellipsoid::Fit second = ellipsoid::fit(samples);
        QVERIFY(shapeError(first.shape, second.shape.cast<double>()) < 3e-6);
        QVERIFY(centreError(first.centre, second.centre.cast<double>(), 1) < 1e-6);
    }
}

void TestEllipsoidFit::factorIsUpperTriangular()
{
    Maker maker(12);
    const MadeEllipsoid made = maker.ellipsoid();
    const ellipsoid::Fit fit{made.shape().cast<float>(), made.centre.cast<float>(), 1};
    const auto correction = correctionFor(fit);
    const Eigen::Matrix3f &u = correction.matrix;
    QCOMPARE(correction.bias, fit.centre);
    QVERIFY((u.transpose() * u - fit.shape).norm() < 1e-6F);
    QVERIFY(u(1, 0) == 0.0F && u(2, 0) == 0.0F && u(2, 1) == 0.0F);
    QVERIFY(u(0, 1) != 0.0F && u(0, 2) != 0.0F && u(1, 2) != 0.0F);
    QVERIFY(u.diagonal().minCoeff() > 0);
}

void TestEllipsoidFit::shapeIsMadeSymmetricFirst()
{
    ellipsoid::Fit fit{Eigen::Matrix3f::Identity(), {1, 2, 3}, 1};
    fit.shape(0, 1) = 0.4F;
    const Eigen::Matrix3f u = correctionFor(fit).matrix;
    QCOMPARE(u(0, 1), 0.2F);
    QCOMPARE(u(1, 1), std::sqrt(1.0F - 0.2F * 0.2F));
}

void TestEllipsoidFit::shapeThatHasNoFactorIsShiftedOnce()
{
    const ellipsoid::Fit nothing{Eigen::Matrix3f::Zero(), {0, 0, 0}, 1};
    const Eigen::Matrix3f u = correctionFor(nothing).matrix;
    QVERIFY((u - Eigen::Matrix3f::Identity() * 0.001F).norm() < 1e-9F);

    // One shift is not enough here. The result is still upper triangular.
    const ellipsoid::Fit saddle{Eigen::Vector3f(1, -1, 1).asDiagonal(), {0, 0, 0}, 1};
    const Eigen::Matrix3f rest = correctionFor(saddle).matrix;
    QVERIFY(std::abs(rest(0, 0) - 1) < 1e-5F);
    QCOMPARE(rest(1, 0), 0.0F);
}

QTEST_APPLESS_MAIN(TestEllipsoidFit)

#include "test_ellipsoid_fit.moc"
