// The linear start and its refinement: exact data, few directions, and the comparison with the fit
// from the bounding box.

#include <cmath>
#include <limits>

#include <QTest>

#include "fit/algebraic_start.h"
#include "tests/fit/made_ellipsoid.h"

using namespace ellipsoid;

namespace {

// The part of the samples that lies on one side of a plane through `centre`.
Readings oneSide(const Readings &samples, const Eigen::Vector3d &centre,
                 const Eigen::Vector3d &normal, double least)
{
    Readings kept;
    for (const Reading &sample : samples) {
        const Eigen::Vector3d p = Eigen::Vector3f::Map(sample.data()).cast<double>();
        if ((p - centre).dot(normal) > least)
            kept.push_back(sample);
    }
    return kept;
}

double sumOfSquares(const Readings &samples, const Fit &fit)
{
    double sum = 0;
    for (const Reading &sample : samples) {
        const Eigen::Vector3d d = (Eigen::Vector3f::Map(sample.data()) - fit.centre).cast<double>();
        const double residual = d.dot(fit.shape.cast<double>() * d) - 1;
        sum += residual * residual;
    }
    return sum;
}

double shapeError(const Eigen::Matrix3d &shape, const MadeEllipsoid &truth)
{
    return (shape - truth.shape()).norm() / truth.shape().norm();
}

} // namespace

Q_DECLARE_METATYPE(ellipsoid::Readings)

class TestAlgebraicStart : public QObject
{
    Q_OBJECT

private slots:
    void exactReadingsGiveTheTruth();
    void halfOfTheSurfaceIsEnough();
    void noEllipsoid_data();
    void noEllipsoid();
    void refinementNeverFitsWorseThanTheBoxStart();
    void withoutAStartTheBoxIsUsed();
};

void TestAlgebraicStart::exactReadingsGiveTheTruth()
{
    for (const double size : {0.05, 1.0, 48.0, 48000.0}) {
        for (std::uint64_t seed = 0; seed < 20; ++seed) {
            Maker maker(seed);
            const MadeEllipsoid truth = maker.ellipsoid(size);
            const std::optional<Surface> surface = algebraicStart(maker.samples(truth, 200));
            QVERIFY(surface);
            QVERIFY((surface->centre - truth.centre).norm() < 1e-6 * size);
            QVERIFY(shapeError(surface->shape, truth) < 1e-6);
        }
    }
}

void TestAlgebraicStart::halfOfTheSurfaceIsEnough()
{
    Maker maker(1);
    const MadeEllipsoid truth{{40, 50, 60}, maker.rotation(), {500, -700, 300}};
    const Readings half = oneSide(maker.samples(truth, 400), truth.centre, {0, 0, 1}, 0);
    QVERIFY(half.size() > 150 && half.size() < 250);
    const std::optional<Surface> surface = algebraicStart(half);
    QVERIFY(surface);
    QVERIFY((surface->centre - truth.centre).norm() < 0.01);
    QVERIFY(shapeError(surface->shape, truth) < 1e-3);

    const Fit refined = fitFromAlgebraicStart(half);
    QVERIFY((refined.centre.cast<double>() - truth.centre).norm() < 0.01);
    QVERIFY(shapeError(refined.shape.cast<double>(), truth) < 1e-3);
}

void TestAlgebraicStart::noEllipsoid_data()
{
    QTest::addColumn<Readings>("samples");
    QTest::newRow("none") << Readings{};
    QTest::newRow("eight") << Maker(1).samples({}, 8);
    QTest::newRow("equal") << Readings(36, Reading{1, 2, 3});
    Readings bad = Maker(1).samples({}, 50);
    bad[7][0] = std::numeric_limits<float>::quiet_NaN();
    QTest::newRow("not a number") << bad;
    bad[7][0] = std::numeric_limits<float>::infinity();
    QTest::newRow("infinite") << bad;
    Readings hyperboloid;
    Maker maker(2);
    for (int i = 0; i < 60; ++i) {
        const double around = maker.uniform(0, 6.28);
        const double height = maker.uniform(-2, 2);
        const double radius = std::sqrt(1 + height * height);
        hyperboloid.push_back({static_cast<float>(radius * std::cos(around)),
                               static_cast<float>(radius * std::sin(around)),
                               static_cast<float>(height)});
    }
    QTest::newRow("another surface") << hyperboloid;
}

void TestAlgebraicStart::noEllipsoid()
{
    QFETCH(Readings, samples);
    QVERIFY(!algebraicStart(samples));
}

void TestAlgebraicStart::refinementNeverFitsWorseThanTheBoxStart()
{
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        Maker maker(seed);
        const MadeEllipsoid truth = maker.ellipsoid(48);
        const Readings samples = maker.samples(truth, 300, 0.5);
        const Fit refined = fitFromAlgebraicStart(samples);
        const double box = sumOfSquares(samples, fit(samples));
        QVERIFY(sumOfSquares(samples, refined) <= 1.0001 * box);

        const std::optional<Surface> start = algebraicStart(samples);
        QVERIFY(start);
        const Fit unrefined{start->shape.cast<float>(), start->centre.cast<float>(), 0};
        QVERIFY(sumOfSquares(samples, refined) < sumOfSquares(samples, unrefined));
    }
}

void TestAlgebraicStart::withoutAStartTheBoxIsUsed()
{
    const Readings samples(36, Reading{1, 2, 3});
    const Fit box = fit(samples);
    const Fit result = fitFromAlgebraicStart(samples);
    QVERIFY(result.shape == box.shape && result.centre == box.centre);
    QCOMPARE(result.iterations, box.iterations);
}

QTEST_APPLESS_MAIN(TestAlgebraicStart)

#include "test_algebraic_start.moc"
