// Hard and soft iron, and the calibration that corrects them.

#include <cmath>

#include <QTest>

#include "sim/device/magnetic_model.h"
#include "sim/device/sensors.h"

using namespace std::chrono_literals;
using Eigen::Vector3d;

namespace {

struct Spread
{
    double mean = 0;
    double deviation = 0;
};

// The length of the calibrated field over a minute of tumbling.
Spread calibratedLength(std::uint64_t seed, const sim::MagneticCalibration &calibration)
{
    const sim::Sensors sensors(sim::Motion::Tumble, seed);
    sim::DeviceSettings settings;
    settings.magnetic = calibration;
    constexpr int kCount = 600;
    double sum = 0;
    double squares = 0;
    for (int i = 0; i < kCount; ++i) {
        const auto field = sensors.sample(i * 100ms, settings).magneticField;
        const double length = std::sqrt(
            static_cast<double>(field[0] * field[0] + field[1] * field[1] + field[2] * field[2]));
        sum += length;
        squares += length * length;
    }
    const double mean = sum / kCount;
    return {mean, std::sqrt(squares / kCount - mean * mean)};
}

} // namespace

class TestMagneticModel : public QObject
{
    Q_OBJECT

private slots:
    void trueCalibrationLeavesOnlyNoise();
    void uncalibratedFieldIsDistorted();
    void readsTheWireFormat();
};

void TestMagneticModel::trueCalibrationLeavesOnlyNoise()
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const Spread spread = calibratedLength(seed, sim::MagneticModel(seed).trueCalibration());
        QVERIFY2(std::abs(spread.mean - 1) < 0.001, qPrintable(QString::number(spread.mean)));
        // Noise of 0.15 uT in 48 uT, and a small contribution of soft iron.
        QVERIFY2(spread.deviation < 0.005, qPrintable(QString::number(spread.deviation)));
    }
}

void TestMagneticModel::uncalibratedFieldIsDistorted()
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed)
        QVERIFY(calibratedLength(seed, {}).deviation > 0.1);
}

// The bias is added; the matrix is stored column by column.
void TestMagneticModel::readsTheWireFormat()
{
    sim::MagneticCalibration calibration;
    calibration.bias = {1, 2, 3};
    calibration.matrix = {2, 0, 0, 5, 3, 0, 7, 11, 4};
    const Vector3d result = sim::corrected({10, 20, 30}, calibration);
    QCOMPARE(result.x(), 2.0 * 11 + 5.0 * 22 + 7.0 * 33);
    QCOMPARE(result.y(), 3.0 * 22 + 11.0 * 33);
    QCOMPARE(result.z(), 4.0 * 33);
}

QTEST_APPLESS_MAIN(TestMagneticModel)
#include "test_magnetic_model.moc"
