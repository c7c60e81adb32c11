// Readings that lie close together are reduced to one of them.

#include <limits>

#include <QTest>

#include "fit/thinning.h"
#include "tests/fit/made_ellipsoid.h"

using namespace ellipsoid;

class TestThinning : public QObject
{
    Q_OBJECT

private slots:
    void keepsTheFirstOfEachCube();
    void keepsReadingsThatAreApart();
    void doesNotDependOnUnits();
    void equalReadingsLeaveOne();
    void removesWhatIsNotFinite();
    void extremeValues();
};

// The box is 2 wide, so a fraction of 0.5 gives cubes with edges of 0.5.
void TestThinning::keepsTheFirstOfEachCube()
{
    const Readings samples{{-1, -1, -1}, {1, 1, 1},      {-0.9F, -0.9F, -0.6F},
                           {-1, -1, 0},  {-0.6F, -1, 0}, {-0.4F, -1, 0}};
    const Readings expected{{-1, -1, -1}, {1, 1, 1}, {-1, -1, 0}, {-0.4F, -1, 0}};
    QVERIFY(thinned(samples, 0.5) == expected);
}

void TestThinning::keepsReadingsThatAreApart()
{
    const Readings samples = Maker(1).samples({}, 100);
    QVERIFY(thinned(samples, 0.001) == samples);
    const Readings many = Maker(1).samples({}, 100'000);
    const std::size_t kept = thinned(many).size();
    QVERIFY(kept > 5'000 && kept < 15'000);
}

void TestThinning::doesNotDependOnUnits()
{
    for (const double size : {1e-5, 1.0, 1e6}) {
        const Readings samples =
            Maker(2).samples({{size, size, size}, Eigen::Matrix3d::Identity(), {0, 0, 0}}, 3000);
        const std::size_t expected = thinned(Maker(2).samples({}, 3000)).size();
        const auto difference =
            static_cast<double>(thinned(samples).size()) - static_cast<double>(expected);
        QVERIFY(std::abs(difference) < 5); // rounding at the borders of the cubes
    }
}

void TestThinning::equalReadingsLeaveOne()
{
    QVERIFY(thinned({}).empty());
    QVERIFY(thinned(Readings(36, Reading{1, 2, 3})) == Readings({{1, 2, 3}}));
}

void TestThinning::removesWhatIsNotFinite()
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    QVERIFY(thinned({{kNan, 0, 0}, {1, 2, 3}, {0, kInfinity, 0}, {-1, -2, -kInfinity}}) ==
            Readings({{1, 2, 3}}));
    QVERIFY(thinned({{kNan, 0, 0}}).empty());
}

void TestThinning::extremeValues()
{
    constexpr float kLargest = std::numeric_limits<float>::max();
    const Readings samples{{kLargest, 0, 0}, {-kLargest, 0, 0}, {0, 1, 0}};
    QVERIFY(thinned(samples) == samples);
}

QTEST_APPLESS_MAIN(TestThinning)

#include "test_thinning.moc"
