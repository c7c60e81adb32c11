#include <cmath>
#include <limits>

#include <QTest>

#include "fit/quality_metrics.h"
#include "tests/fit/made_ellipsoid.h"

using ellipsoid::Correction;
using ellipsoid::Readings;
using ellipsoid::Verdict;

class TestQualityMetrics : public QObject
{
    Q_OBJECT

private slots:
    void noSamples();
    void meanAndDeviationOfLengths();
    void correctionIsApplied();
    void exactReadingsAreGood();
    void roundedVarianceIsNeverNegative();
    void sumsAreKeptInDouble();
    void nanShowsInTheMean();
    void verdict_data();
    void verdict();
};

void TestQualityMetrics::noSamples()
{
    const auto metrics = ellipsoid::qualityMetrics({}, {});
    QVERIFY(std::isnan(metrics.mean));
    QVERIFY(std::isnan(metrics.deviation));
}

// Lengths 1, 2, 3 and 6: mean 3, mean square 12.5, variance 3.5. The divisor is the count, not the
// count minus one.
void TestQualityMetrics::meanAndDeviationOfLengths()
{
    const Readings samples{{1, 0, 0}, {0, -2, 0}, {2, 2, 1}, {0, 0, 6}};
    const auto metrics = ellipsoid::qualityMetrics(samples, {});
    QCOMPARE(metrics.mean, 3.0F);
    QCOMPARE(metrics.deviation, static_cast<float>(std::sqrt(3.5)));
}

void TestQualityMetrics::correctionIsApplied()
{
    Correction correction;
    correction.bias = {1, 2, 3};
    correction.matrix << 2, 1, 0, 0, 4, 0, 0, 0, 1;
    // p - b = (1, 2, 0), U (p - b) = (4, 8, 0).
    const auto metrics = ellipsoid::qualityMetrics({{2, 4, 3}}, correction);
    QCOMPARE(metrics.mean, std::sqrt(80.0F));
    QCOMPARE(metrics.deviation, 0.0F);
}

void TestQualityMetrics::exactReadingsAreGood()
{
    Maker maker(1);
    const Readings samples = maker.samples(maker.ellipsoid(50), 500);
    const ellipsoid::Fit fit = ellipsoid::fit(samples);
    const auto metrics =
        ellipsoid::qualityMetrics(samples, ellipsoid::deriveCorrection(fit.shape, fit.centre));
    QVERIFY(std::abs(metrics.mean - 1) < 1e-5F);
    QVERIFY(metrics.deviation < 1e-5F);
    QCOMPARE(ellipsoid::verdictOn(metrics.deviation), Verdict::Good);
}

// The same length many times, so that the sums round. For some of these lengths the variance comes
// out below zero. Each must give exactly 0 or a value slightly above 0.
void TestQualityMetrics::roundedVarianceIsNeverNegative()
{
    int below = 0;
    for (int i = 1; i <= 200; ++i) {
        const float length = 0.9F + 0.001F * static_cast<float>(i);
        const double squared = static_cast<double>(length) * static_cast<double>(length);
        double sum = 0;
        double squares = 0;
        for (int n = 0; n < 37; ++n) {
            sum += static_cast<double>(length);
            squares += squared;
        }
        const double mean = sum / 37;
        const auto metrics = ellipsoid::qualityMetrics(Readings(37, {length, 0, 0}), {});
        QVERIFY(!std::isnan(metrics.deviation) && metrics.deviation < 1e-7F);
        if (squares / 37 - mean * mean < 0) {
            ++below;
            QCOMPARE(metrics.deviation, 0.0F);
        }
    }
    QVERIFY(below > 0);
}

// A hundred thousand readings: in single precision the sums would be wrong in the fourth digit.
void TestQualityMetrics::sumsAreKeptInDouble()
{
    Readings samples(100000, {1.1F, 0, 0});
    for (std::size_t i = 0; i < samples.size(); i += 2)
        samples[i][0] = 0.9F;
    const auto metrics = ellipsoid::qualityMetrics(samples, {});
    QVERIFY(std::abs(metrics.mean - 1.0F) < 1e-6F);
    QVERIFY(std::abs(metrics.deviation - 0.1F) < 1e-6F);
}

// A NaN variance is not above zero, so the deviation is 0; the mean shows the NaN.
void TestQualityMetrics::nanShowsInTheMean()
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto metrics = ellipsoid::qualityMetrics({{1, 0, 0}, {nan, 0, 0}}, {});
    QVERIFY(std::isnan(metrics.mean));
    QCOMPARE(metrics.deviation, 0.0F);
}

void TestQualityMetrics::verdict_data()
{
    QTest::addColumn<float>("deviation");
    QTest::addColumn<Verdict>("expected");
    QTest::newRow("none") << 0.0F << Verdict::Good;
    QTest::newRow("just below 0.03") << std::nextafter(0.03F, 0.0F) << Verdict::Good;
    QTest::newRow("0.03") << 0.03F << Verdict::Acceptable;
    QTest::newRow("just below 0.08") << std::nextafter(0.08F, 0.0F) << Verdict::Acceptable;
    QTest::newRow("0.08") << 0.08F << Verdict::Bad;
    QTest::newRow("infinite") << std::numeric_limits<float>::infinity() << Verdict::Bad;
    QTest::newRow("not a number") << std::numeric_limits<float>::quiet_NaN() << Verdict::Bad;
}

void TestQualityMetrics::verdict()
{
    QFETCH(float, deviation);
    QFETCH(Verdict, expected);
    QCOMPARE(ellipsoid::verdictOn(deviation), expected);
}

QTEST_APPLESS_MAIN(TestQualityMetrics)

#include "test_quality_metrics.moc"
