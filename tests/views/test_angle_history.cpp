#include <cmath>
#include <limits>

#include <QTest>

#include "views/angle_history.h"

namespace {

QList<float> samplesOf(const AngleHistory &history, int series)
{
    const std::span<const float> samples = history.samples(series);
    return {samples.begin(), samples.end()};
}

} // namespace

class TestAngleHistory : public QObject
{
    Q_OBJECT

private slots:
    void unwrapping_data()
    {
        QTest::addColumn<float>("angle");
        QTest::addColumn<float>("previous");
        QTest::addColumn<float>("stored");

        QTest::newRow("near") << 12.0F << 10.0F << 12.0F;
        QTest::newRow("just below half a turn") << 179.9F << 0.0F << 179.9F;
        QTest::newRow("half a turn up") << 180.0F << 0.0F << -180.0F;
        QTest::newRow("half a turn down") << -180.0F << 0.0F << 180.0F;
        QTest::newRow("over the top") << -179.0F << 179.0F << 181.0F;
        QTest::newRow("over the bottom") << 179.0F << -179.0F << -181.0F;
        QTest::newRow("a turn away, once only") << 10.0F << 730.0F << 370.0F;
        QTest::newRow("two turns away, once only") << 800.0F << 0.0F << 440.0F;
    }

    void unwrapping()
    {
        QFETCH(float, angle);
        QFETCH(float, previous);
        QTEST(unwrapped(angle, previous), "stored");
    }

    void notANumberIsNoNeighbour()
    {
        QVERIFY(std::isnan(unwrapped(NAN, 5.0F)));
        QCOMPARE(unwrapped(5.0F, NAN), -355.0F);
    }

    void fillsFromTheFront()
    {
        AngleHistory history(3);
        QCOMPARE(history.capacity(), 3);
        QCOMPARE(history.count(), 0);
        QVERIFY(history.samples(0).empty());

        history.append({1.0F, 2.0F, 3.0F});
        history.append({4.0F, 5.0F, 6.0F});
        QCOMPARE(history.count(), 2);
        QCOMPARE(samplesOf(history, 0), (QList<float>{1.0F, 4.0F}));
        QCOMPARE(samplesOf(history, 1), (QList<float>{2.0F, 5.0F}));
        QCOMPARE(samplesOf(history, 2), (QList<float>{3.0F, 6.0F}));
    }

    void scrollsOnceFull()
    {
        AngleHistory history(3);
        for (int i = 1; i <= 5; ++i)
            history.append({static_cast<float>(i), static_cast<float>(10 * i), 0.0F});
        QCOMPARE(history.count(), 3);
        QCOMPARE(samplesOf(history, 0), (QList<float>{3.0F, 4.0F, 5.0F}));
        QCOMPARE(samplesOf(history, 1), (QList<float>{30.0F, 40.0F, 50.0F}));
    }

    // While the history fills, its last slot still holds 0, so a value is unwrapped against 0 and
    // not against the value before it.
    void fillingUnwrapsAgainstZero()
    {
        AngleHistory history(3);
        history.append({170.0F, 0.0F, 0.0F});
        QCOMPARE(history.append({-170.0F, 0.0F, 0.0F})[0], -170.0F);
        // The sample that fills the history writes the last slot; it is itself still unwrapped
        // against 0.
        QCOMPARE(history.append({190.0F, 0.0F, 0.0F})[0], -170.0F);
        // After that the last slot holds the previous sample.
        QCOMPARE(history.append({170.0F, 0.0F, 0.0F})[0], -190.0F);
        QCOMPARE(history.append({-175.0F, 0.0F, 0.0F})[0], -175.0F);
    }

    void eachSeriesUnwrapsAgainstItself()
    {
        AngleHistory history(1);
        history.append({179.0F, -179.0F, 0.0F});
        const auto stored = history.append({-179.0F, 179.0F, 179.0F});
        QCOMPARE(stored[0], 181.0F);
        QCOMPARE(stored[1], -181.0F);
        QCOMPARE(stored[2], 179.0F);
    }

    void largestMagnitude()
    {
        AngleHistory history(4);
        QCOMPARE(history.largestMagnitude(10.0F), 10.0F);
        history.append({1.0F, -9.0F, 2.0F});
        QCOMPARE(history.largestMagnitude(10.0F), 10.0F);
        history.append({1.0F, -19.0F, 2.0F});
        QCOMPARE(history.largestMagnitude(10.0F), 19.0F);
        history.append({25.0F, 0.0F, 2.0F});
        QCOMPARE(history.largestMagnitude(10.0F), 25.0F);
        history.append({0.0F, NAN, -75.5F});
        QCOMPARE(history.largestMagnitude(10.0F), 75.5F);
    }

    void resizeAndClearDropSamples()
    {
        AngleHistory history(2);
        history.append({170.0F, 0.0F, 0.0F});
        history.append({175.0F, 0.0F, 0.0F});
        history.clear();
        QCOMPARE(history.count(), 0);
        QCOMPARE(history.capacity(), 2);
        QCOMPARE(history.append({-179.0F, 0.0F, 0.0F})[0], -179.0F); // unwrapped against 0 again

        history.resize(5);
        QCOMPARE(history.count(), 0);
        QCOMPARE(history.capacity(), 5);
    }
};

QTEST_APPLESS_MAIN(TestAngleHistory)
#include "test_angle_history.moc"
