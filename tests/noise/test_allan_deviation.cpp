// The Allan deviation of made noise with known coefficients.

#include <cmath>
#include <limits>
#include <random>

#include <QTest>

#include "noise/allan_deviation.h"

using namespace noise;

namespace {

constexpr double kInterval = 0.01;

// White noise of this density, in units/sqrt(Hz), plus a random walk of this density, in
// units/s/sqrt(Hz).
std::vector<float> made(double white, double walk, std::size_t count)
{
    std::mt19937_64 random(1);
    std::normal_distribution<double> normal;
    std::vector<float> values;
    double bias = 0;
    for (std::size_t i = 0; i < count; ++i) {
        bias += walk * std::sqrt(kInterval) * normal(random);
        values.push_back(
            static_cast<float>(5 + bias + white / std::sqrt(kInterval) * normal(random)));
    }
    return values;
}

double relative(double value, double expected)
{
    return std::abs(value / expected - 1);
}

} // namespace

class TestAllanDeviation : public QObject
{
    Q_OBJECT

private slots:
    void smallExampleByHand();
    void whiteNoiseFallsWithTheRoot();
    void randomWalkRisesWithTheRoot();
    void bothHaveAMinimum();
    void shortRecordsHaveNoMinimum();
    void nothingToMeasure();
};

// Values 0 1 0 2 with a mean of 0.75: for one interval the differences are 1, -1, 2.
void TestAllanDeviation::smallExampleByHand()
{
    const std::vector<float> values{0, 1, 0, 2};
    const std::vector<AllanPoint> curve = allanDeviation(values, 0.5);
    QCOMPARE(curve.size(), std::size_t(1));
    QCOMPARE(curve[0].tau, 0.5);
    QCOMPARE(curve[0].terms, std::size_t(3));
    QCOMPARE(curve[0].deviation, std::sqrt((1 + 1 + 4) / 6.0));

    // Two intervals: averages of pairs, at every offset.
    const std::vector<float> eight{1, 3, 2, 6, 4, 4, 8, 0};
    const std::vector<AllanPoint> longer = allanDeviation(eight, 1);
    QCOMPARE(longer.size(), std::size_t(2));
    QCOMPARE(longer[1].tau, 2.0);
    QCOMPARE(longer[1].terms, std::size_t(5));
    const double squares = 2 * 2 + 2.5 * 2.5 + 0 * 0 + 1 * 1 + 0 * 0;
    QVERIFY(relative(longer[1].deviation, std::sqrt(squares / 10)) < 1e-12);
}

void TestAllanDeviation::whiteNoiseFallsWithTheRoot()
{
    const auto curve = allanDeviation(made(0.02, 0, 400'000), kInterval);
    QCOMPARE(curve.front().tau, kInterval);
    QVERIFY(curve.back().tau <= 1000 && curve.back().tau > 800);
    for (const AllanPoint &point : curve) {
        if (point.tau < 40)
            QVERIFY(relative(point.deviation, 0.02 / std::sqrt(point.tau)) < 0.15);
    }
    const std::optional<double> walk = randomWalk(curve);
    QVERIFY(walk && relative(*walk, 0.02) < 0.1);
}

// A random walk of density K has the deviation K sqrt(tau / 3).
void TestAllanDeviation::randomWalkRisesWithTheRoot()
{
    const auto curve = allanDeviation(made(0, 0.003, 400'000), kInterval);
    for (const AllanPoint &point : curve) {
        if (point.tau > 0.3 && point.tau < 40)
            QVERIFY(relative(point.deviation, 0.003 * std::sqrt(point.tau / 3)) < 0.2);
    }
    QVERIFY(!randomWalk(curve));
}

// The curve sqrt(N^2 / tau + K^2 tau / 3) is lowest at tau = sqrt(3) N / K.
void TestAllanDeviation::bothHaveAMinimum()
{
    const double white = 0.02;
    const double walk = 0.005;
    const auto curve = allanDeviation(made(white, walk, 400'000), kInterval);
    const std::optional<BiasInstability> instability = biasInstability(curve);
    QVERIFY(instability);
    const double tau = std::sqrt(3.0) * white / walk;
    QVERIFY(instability->tau > tau / 2 && instability->tau < 2 * tau);
    const double lowest = std::sqrt(2 * white * walk / std::sqrt(3.0));
    QVERIFY(relative(instability->value, lowest / 0.664) < 0.15);
    const std::optional<double> measured = randomWalk(curve);
    QVERIFY(measured && relative(*measured, white) < 0.1);
}

void TestAllanDeviation::shortRecordsHaveNoMinimum()
{
    QVERIFY(!biasInstability(allanDeviation(made(0.02, 0.0001, 2000), kInterval)));
}

void TestAllanDeviation::nothingToMeasure()
{
    QVERIFY(allanDeviation({}, 1).empty());
    QVERIFY(allanDeviation(std::vector<float>{1, 2, 3}, 1).empty());
    std::vector<float> values(100, 1.0F);
    for (const AllanPoint &point : allanDeviation(values, 1))
        QCOMPARE(point.deviation, 0.0);
    QVERIFY(!randomWalk(allanDeviation(values, 1)));
    QVERIFY(!biasInstability(allanDeviation(values, 1)));
    values[50] = std::numeric_limits<float>::quiet_NaN();
    QVERIFY(allanDeviation(values, 1).empty());
    QVERIFY(!randomWalk({}));
    QVERIFY(!biasInstability({}));
}

QTEST_APPLESS_MAIN(TestAllanDeviation)

#include "test_allan_deviation.moc"
