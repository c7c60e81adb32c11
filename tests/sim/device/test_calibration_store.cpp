// The pages of the calibration store, and the points that a host reads from them.

#include <cstring>

#include <QTest>

#include "sim/device/calibration_store.h"

using sim::CalibrationStore;
using Bytes = std::vector<unsigned char>;
using Points = std::vector<std::array<float, 3>>;

namespace {

Points pointsUpTo(int count)
{
    Points points;
    for (int i = 0; i < count; ++i) {
        const auto value = static_cast<float>(10 * i);
        points.push_back({value, value + 1, value + 2});
    }
    return points;
}

// The floats that a host keeps of a block: whole groups of twelve, without the last two of every
// eight.
std::vector<float> keptByHost(const Bytes &block)
{
    const std::size_t count = block.size() / sizeof(float) / 12 * 12;
    std::vector<float> kept;
    for (std::size_t i = 0; i < count; ++i) {
        float value = 0;
        std::memcpy(&value, block.data() + i * sizeof value, sizeof value);
        if (i % 8 < 6)
            kept.push_back(value);
    }
    return kept;
}

// Downloads as a host does: 128 bytes at a time, the last block with its size less 32.
Points download(const CalibrationStore &store)
{
    std::vector<float> floats;
    for (std::uint32_t offset = 0; offset < store.size(); offset += 128) {
        const bool whole = offset + 128 <= store.size();
        const auto kept =
            keptByHost(store.block(offset, whole ? offset + 128 : store.size() - offset - 32));
        floats.insert(floats.end(), kept.begin(), kept.end());
    }
    Points points;
    for (std::size_t i = 0; i + 3 <= floats.size(); i += 3)
        points.push_back({floats[i], floats[i + 1], floats[i + 2]});
    return points;
}

} // namespace

class TestCalibrationStore : public QObject
{
    Q_OBJECT

private slots:
    void hostGetsEveryPoint_data();
    void hostGetsEveryPoint();
    void servesAnyBytes();
    void neverReadsPastItsEnd();
    void holdsAtMostSixHundred();
};

void TestCalibrationStore::hostGetsEveryPoint_data()
{
    QTest::addColumn<int>("stored");
    QTest::addColumn<int>("delivered");
    QTest::newRow("none") << 0 << 0;
    QTest::newRow("one") << 1 << 6;
    QTest::newRow("a page") << 6 << 6;
    QTest::newRow("a page and one") << 7 << 12;
    QTest::newRow("many") << 600 << 600;
}

void TestCalibrationStore::hostGetsEveryPoint()
{
    QFETCH(const int, stored);
    QFETCH(const int, delivered);
    CalibrationStore store;
    store.setPoints(pointsUpTo(stored));
    QCOMPARE(store.size(), std::uint32_t(delivered / 6 * 128));
    Points expected = pointsUpTo(stored);
    // The store repeats the last point up to the end of the last page.
    while (expected.size() < std::size_t(delivered))
        expected.push_back(expected.back());
    QCOMPARE(download(store), expected);
}

void TestCalibrationStore::servesAnyBytes()
{
    Bytes bytes(300);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(i);
    CalibrationStore store;
    store.setBytes(bytes);
    QCOMPARE(store.size(), 300U);
    QCOMPARE(store.block(0, 128), Bytes(bytes.begin(), bytes.begin() + 96));
    QCOMPARE(store.block(128, 256), Bytes(bytes.begin() + 128, bytes.begin() + 224));
    QCOMPARE(store.block(256, 12), Bytes(bytes.begin() + 256, bytes.begin() + 268));
}

void TestCalibrationStore::neverReadsPastItsEnd()
{
    CalibrationStore store;
    QVERIFY(store.block(0, 128).empty());
    store.setBytes(Bytes(100, 7));
    QCOMPARE(store.block(0, 128).size(), std::size_t(96));
    QCOMPARE(store.block(90, 50).size(), std::size_t(10));
    QVERIFY(store.block(100, 12).empty());
    QVERIFY(store.block(0xFFFFFFFF, 127).empty());
    QVERIFY(store.block(0xFFFFFFFF, 0xFFFFFFFF).empty());
    QCOMPARE(store.block(0, 0xFFFFFFFF).size(), std::size_t(96));
}

void TestCalibrationStore::holdsAtMostSixHundred()
{
    CalibrationStore store;
    store.setPoints(pointsUpTo(1000));
    QCOMPARE(store.size(), 12800U);
    QCOMPARE(download(store), pointsUpTo(600));
}

QTEST_APPLESS_MAIN(TestCalibrationStore)
#include "test_calibration_store.moc"
