#include <cmath>

#include <QTest>

#include "fit/ellipsoid_fit.h"
#include "tests/fit/made_ellipsoid.h"
#include "tests/fit/reference_fit.h"

using ellipsoid::Readings;

Q_DECLARE_METATYPE(MadeEllipsoid)

namespace {

// Errors relative to the size: of the shape to its norm, of the centre to the half axes.
double shapeError(const Eigen::Matrix3f &shape, const Eigen::Matrix3d &truth)
{
    return (shape.cast<double>() - truth).norm() / truth.norm();
}

double centreError(const Eigen::Vector3f &centre, const Eigen::Vector3d &truth, double size)
{
    return (centre.cast<double>() - truth).norm() / size;
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

// The accuracy of the fit and of the correction that is derived from it.
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
    const Eigen::Matrix3d tilted = rotationAbout({1, -2, 0.5}, 37);
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
