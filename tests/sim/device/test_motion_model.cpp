// Physics: all sensors measure the motion of one body.

#include <cmath>

#include <QTest>

#include "protocol/protocol.h"
#include "sim/device/sensors.h"

using namespace std::chrono_literals;
using Eigen::Quaterniond;
using Eigen::Vector3d;
using sim::Motion;

Q_DECLARE_METATYPE(sim::Motion)

namespace {

template <typename Array>
Vector3d vector(const Array &values)
{
    return {static_cast<double>(values[0]), static_cast<double>(values[1]),
            static_cast<double>(values[2])};
}

Quaterniond quaternion(const sim::DeviceSample &sample)
{
    const auto &q = sample.quaternion;
    return {static_cast<double>(q[3]), static_cast<double>(q[0]), static_cast<double>(q[1]),
            static_cast<double>(q[2])};
}

double degreesBetween(const Quaterniond &a, const Quaterniond &b)
{
    return a.angularDistance(b) * 180.0 / M_PI;
}

void addMotions()
{
    QTest::addColumn<Motion>("motion");
    QTest::newRow("still") << Motion::Still;
    QTest::newRow("spin") << Motion::Spin;
    QTest::newRow("tumble") << Motion::Tumble;
    QTest::newRow("turn") << Motion::Turn;
    QTest::newRow("vibration") << Motion::Vibration;
    QTest::newRow("hand") << Motion::Hand;
}

} // namespace

class TestMotionModel : public QObject
{
    Q_OBJECT

private slots:
    void ratesIntegrateToTheOrientation_data() { addMotions(); }
    void ratesIntegrateToTheOrientation();
    void sampleIsConsistent_data() { addMotions(); }
    void sampleIsConsistent();
    void accelerationIsWithoutGravity();
    void tumblesThroughAllDirections();
    void isAFunctionOfSeedAndTime();
    void noiseHasItsSize();
    void zeroThresholdZeroesSlowRotation();
    void packsBlocksInOrder();
};

// Integrating only the measured rates gives the reported orientation.
void TestMotionModel::ratesIntegrateToTheOrientation()
{
    QFETCH(const Motion, motion);
    const sim::Sensors sensors(motion, 3);
    const sim::DeviceSettings settings;
    constexpr auto kStep = 1ms;
    Quaterniond integrated = quaternion(sensors.sample(0ms, settings));
    for (sim::Time at = 0ms; at < 5s; at += kStep) {
        const Vector3d rate = vector(sensors.sample(at + kStep / 2, settings).rates);
        const double angle = rate.norm() * sim::seconds(kStep);
        if (angle > 0)
            integrated = integrated * Quaterniond(Eigen::AngleAxisd(angle, rate.normalized()));
    }
    const double error = degreesBetween(integrated, quaternion(sensors.sample(5s, settings)));
    QVERIFY2(error < 0.1, qPrintable(QString::number(error)));
}

void TestMotionModel::sampleIsConsistent()
{
    QFETCH(const Motion, motion);
    const sim::Sensors sensors(motion, 5);
    const sim::DeviceSettings settings;
    for (sim::Time at = 0ms; at < 20s; at += 137ms) {
        const sim::DeviceSample sample = sensors.sample(at, settings);
        const Quaterniond q = quaternion(sample);
        QVERIFY(std::abs(q.norm() - 1) < 1e-6);

        const Vector3d rpy = vector(sample.eulerDeg) * M_PI / 180.0;
        const Quaterniond fromEuler = Eigen::AngleAxisd(rpy.z(), Vector3d::UnitZ()) *
                                      Eigen::AngleAxisd(rpy.y(), Vector3d::UnitY()) *
                                      Eigen::AngleAxisd(rpy.x(), Vector3d::UnitX());
        QVERIFY(degreesBetween(q, fromEuler) < 0.1);

        const double largest = motion == Motion::Vibration ? 3.2 : 0.2;
        QVERIFY(vector(sample.accelerations).norm() < largest);
        QVERIFY(std::abs(static_cast<double>(sample.pressure) - 1013.25) < 1);
        QVERIFY(sample.covariances[0] > 0 && sample.covariances[0] < 0.01F);
    }
}

// Only sensor noise is left: it differs at each moment and has a mean of about 0.
void TestMotionModel::accelerationIsWithoutGravity()
{
    const sim::Sensors sensors(Motion::Still, 1);
    QCOMPARE(sensors.sample(1s, {}).quaternion, (std::array<float, 4>{0, 0, 0, 1}));
    constexpr int kSamples = 1000;
    Vector3d mean = Vector3d::Zero();
    Vector3d square = Vector3d::Zero();
    for (int i = 0; i < kSamples; ++i) {
        const Vector3d acceleration = vector(sensors.sample(i * 10ms, {}).accelerations);
        mean += acceleration / kSamples;
        square += acceleration.cwiseAbs2() / kSamples;
    }
    QVERIFY(mean.cwiseAbs().maxCoeff() < 0.005);
    QVERIFY(square.minCoeff() > 0.015 * 0.015);
    QVERIFY(square.maxCoeff() < 0.025 * 0.025);
}

// A calibration collected during the motion covers every direction: each octant contains samples.
void TestMotionModel::tumblesThroughAllDirections()
{
    const sim::MotionModel body(Motion::Tumble, 1);
    std::array<int, 8> octants{};
    constexpr int kSamples = 150; // 30 s at 5 Hz
    for (int i = 0; i < kSamples; ++i) {
        const Vector3d field =
            body.orientation(i * 200ms).conjugate() * sim::MagneticModel::earthField();
        ++octants[(field.x() > 0 ? 1U : 0U) + (field.y() > 0 ? 2U : 0U) +
                  (field.z() > 0 ? 4U : 0U)];
    }
    for (const int count : octants)
        QVERIFY2(count >= kSamples / 8 / 3, qPrintable(QString::number(count)));
}

void TestMotionModel::isAFunctionOfSeedAndTime()
{
    const auto bytes = [](std::uint64_t seed, sim::Time at) {
        const sim::Sensors sensors(Motion::Hand, seed);
        sensors.sample(at / 2, {}); // an extra sample in between changes nothing
        return sim::dataPayload(sensors.sample(at, {}), 0x01FF, true, at);
    };
    QCOMPARE(bytes(1, 1234ms), bytes(1, 1234ms));
    QVERIFY(bytes(1, 1234ms) != bytes(2, 1234ms));
    QVERIFY(bytes(1, 1234ms) != bytes(1, 1235ms));
}

void TestMotionModel::noiseHasItsSize()
{
    const sim::Noise noise(9);
    constexpr int kCount = 20000;
    double sum = 0;
    double squares = 0;
    for (int i = 0; i < kCount; ++i) {
        const double value = noise.gaussian(3, i * 1ms);
        sum += value;
        squares += value * value;
    }
    QVERIFY(std::abs(sum / kCount) < 0.03);
    QVERIFY(std::abs(squares / kCount - 1) < 0.05);
}

void TestMotionModel::zeroThresholdZeroesSlowRotation()
{
    sim::DeviceSettings settings;
    const sim::Sensors still(Motion::Still, 1);
    QVERIFY(vector(still.sample(1s, settings).rates).norm() > 0);
    settings.zeroThreshold = 0.02F;
    QCOMPARE(vector(still.sample(1s, settings).rates).norm(), 0.0);
    const sim::Sensors spin(Motion::Spin, 1);
    QVERIFY(std::abs(vector(spin.sample(1s, settings).rates).z() - 0.8) < 0.02);
}

void TestMotionModel::packsBlocksInOrder()
{
    const sim::DeviceSample sample = sim::Sensors(Motion::Hand, 1).sample(1s, {});
    const auto payload = sim::dataPayload(sample, 0x01FF, true, 1s);
    const std::vector<std::pair<std::size_t, int>> codes{
        {0, 2}, {17, 5}, {30, 0}, {43, 1}, {56, 6}, {69, 14}, {82, 4}, {95, 3}, {100, 22}};
    QCOMPARE(payload.size(), std::size_t(137));
    for (const auto &[offset, code] : codes)
        QCOMPARE(int(payload[offset]), code);
    QCOMPARE(protocol::readField<float>(payload.data() + 1 + 12), sample.quaternion[3]);
    QCOMPARE(protocol::readField<float>(payload.data() + 96), sample.pressure);

    QVERIFY(sim::dataPayload(sample, 0, true, 1s).empty());
    QCOMPARE(sim::dataPayload(sample, 0x0004, true, 1s).size(), std::size_t(17));
    QCOMPARE(sim::dataPayload(sample, 0xFFFF, false, 1s).size(), std::size_t(100));
    QVERIFY(sim::dataPayload(sample, 0xFE00, true, 1s).empty());
}

QTEST_APPLESS_MAIN(TestMotionModel)
#include "test_motion_model.moc"
