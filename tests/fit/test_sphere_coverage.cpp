// The sections of the sphere: their size, their order, and what readings cover.

#include <cmath>
#include <limits>

#include <QTest>

#include "fit/sphere_coverage.h"
#include "tests/fit/made_ellipsoid.h"

using namespace ellipsoid;

class TestSphereCoverage : public QObject
{
    Q_OBJECT

private slots:
    void sectionsAreOfSimilarSize();
    void axesAreInTheMiddleOfTheirFaces();
    void noDirectionHasNoSection();
    void seenFromTheCentre();
    void halfASphereCoversAboutHalf();
    void namesTheLeastCoveredFace();
};

void TestSphereCoverage::sectionsAreOfSimilarSize()
{
    constexpr int kDirections = 540'000;
    Maker maker(1);
    std::array<int, kSections> counts{};
    for (int i = 0; i < kDirections; ++i) {
        const std::size_t section = sectionOf(maker.normal().cast<float>());
        QVERIFY(section < kSections);
        ++counts[section];
    }
    for (const int count : counts) {
        QVERIFY(count > 0.6 * kDirections / kSections);
        QVERIFY(count < 1.4 * kDirections / kSections);
    }
}

void TestSphereCoverage::axesAreInTheMiddleOfTheirFaces()
{
    std::size_t face = 0;
    for (const Eigen::Vector3f &axis :
         {Eigen::Vector3f(1, 0, 0), Eigen::Vector3f(-1, 0, 0), Eigen::Vector3f(0, 1, 0),
          Eigen::Vector3f(0, -1, 0), Eigen::Vector3f(0, 0, 1), Eigen::Vector3f(0, 0, -1)}) {
        QCOMPARE(sectionOf(axis), face * kSectionsPerFace + 4);
        QCOMPARE(sectionOf(1000 * axis), face * kSectionsPerFace + 4);
        ++face;
    }
    // A middle section reaches 15 degrees from the axis.
    QCOMPARE(sectionOf({1, std::tan(0.26F), 0}), std::size_t(4));
    QVERIFY(sectionOf({1, std::tan(0.27F), 0}) != 4);
}

void TestSphereCoverage::noDirectionHasNoSection()
{
    QCOMPARE(sectionOf({0, 0, 0}), kSections);
    QCOMPARE(sectionOf({std::numeric_limits<float>::quiet_NaN(), 1, 0}), kSections);
    QCOMPARE(sectionOf({std::numeric_limits<float>::infinity(), 1, 0}), kSections);
    QVERIFY(coverage({{1, 2, 3}}, {1, 2, 3}).none());
}

void TestSphereCoverage::seenFromTheCentre()
{
    const MadeEllipsoid away{{40, 40, 40}, Eigen::Matrix3d::Identity(), {100, 0, 0}};
    const Readings samples = Maker(2).samples(away, 2000);
    QCOMPARE(coverage(samples, {100, 0, 0}).count(), kSections);
    QVERIFY(coverage(samples, {0, 0, 0}).count() < 12);
    QVERIFY(covered(coverage(samples, {100, 0, 0})) == 1.0);
    QVERIFY(covered(Coverage{}) == 0.0);
}

void TestSphereCoverage::halfASphereCoversAboutHalf()
{
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        Maker maker(seed);
        const Eigen::Vector3d axis = maker.normal();
        Readings half;
        while (half.size() < 2000) {
            const Eigen::Vector3d direction = maker.normal().normalized();
            if (direction.dot(axis) > 0)
                half.push_back({static_cast<float>(direction.x()),
                                static_cast<float>(direction.y()),
                                static_cast<float>(direction.z())});
        }
        const double part = covered(coverage(half, Eigen::Vector3f::Zero()));
        QVERIFY(part >= 0.5 && part < 0.75);
    }
}

void TestSphereCoverage::namesTheLeastCoveredFace()
{
    Coverage seen;
    QCOMPARE(leastCoveredFace(seen), "+x");
    seen.set();
    for (std::size_t i = 0; i < kSectionsPerFace; ++i)
        seen.reset(5 * kSectionsPerFace + i);
    QCOMPARE(leastCoveredFace(seen), "-z");
    seen.set(5 * kSectionsPerFace);
    seen.set(5 * kSectionsPerFace + 1);
    for (std::size_t i = 0; i < 8; ++i)
        seen.reset(2 * kSectionsPerFace + i);
    QCOMPARE(leastCoveredFace(seen), "+y");
}

QTEST_APPLESS_MAIN(TestSphereCoverage)

#include "test_sphere_coverage.moc"
