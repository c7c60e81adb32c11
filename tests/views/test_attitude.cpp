#include <cmath>
#include <numbers>

#include <QQuaternion>
#include <QTest>

#include "views/attitude.h"

namespace {

struct Vector4
{
    float x, y, z, w;
};

// The quaternion that turns by yaw about Z, then pitch about Y, then roll about X.
Vector4 quaternionOf(double rollDeg, double pitchDeg, double yawDeg)
{
    const double half = std::numbers::pi / 360.0;
    const double cr = std::cos(rollDeg * half), sr = std::sin(rollDeg * half);
    const double cp = std::cos(pitchDeg * half), sp = std::sin(pitchDeg * half);
    const double cy = std::cos(yawDeg * half), sy = std::sin(yawDeg * half);
    return {static_cast<float>(sr * cp * cy - cr * sp * sy),
            static_cast<float>(cr * sp * cy + sr * cp * sy),
            static_cast<float>(cr * cp * sy - sr * sp * cy),
            static_cast<float>(cr * cp * cy + sr * sp * sy)};
}

void compareAngles(const RollPitchYaw &actual, double roll, double pitch, double yaw,
                   double tolerance)
{
    const auto near = [&](float angle, double expected) {
        return std::fabs(static_cast<double>(angle) - expected) <= tolerance;
    };
    QVERIFY2(near(actual.rollDeg, roll) && near(actual.pitchDeg, pitch) && near(actual.yawDeg, yaw),
             qPrintable(QStringLiteral("%1 %2 %3, expected %4 %5 %6")
                            .arg(static_cast<double>(actual.rollDeg))
                            .arg(static_cast<double>(actual.pitchDeg))
                            .arg(static_cast<double>(actual.yawDeg))
                            .arg(roll)
                            .arg(pitch)
                            .arg(yaw)));
}

} // namespace

class TestAttitude : public QObject
{
    Q_OBJECT

private slots:
    void knownQuaternions_data()
    {
        QTest::addColumn<float>("x");
        QTest::addColumn<float>("y");
        QTest::addColumn<float>("z");
        QTest::addColumn<float>("w");
        QTest::addColumn<double>("roll");
        QTest::addColumn<double>("pitch");
        QTest::addColumn<double>("yaw");

        QTest::newRow("level") << 0.0F << 0.0F << 0.0F << 1.0F << 0.0 << 0.0 << 0.0;
        QTest::newRow("level, negated") << 0.0F << 0.0F << 0.0F << -1.0F << 0.0 << 0.0 << 0.0;
        QTest::newRow("roll 90") << 1.0F << 0.0F << 0.0F << 1.0F << 90.0 << 0.0 << 0.0;
        QTest::newRow("roll -90") << -1.0F << 0.0F << 0.0F << 1.0F << -90.0 << 0.0 << 0.0;
        QTest::newRow("yaw 90") << 0.0F << 0.0F << 1.0F << 1.0F << 0.0 << 0.0 << 90.0;
        QTest::newRow("yaw -90") << 0.0F << 0.0F << -1.0F << 1.0F << 0.0 << 0.0 << -90.0;
        QTest::newRow("yaw 180") << 0.0F << 0.0F << 1.0F << 0.0F << 0.0 << 0.0 << 180.0;
        QTest::newRow("roll 180") << 1.0F << 0.0F << 0.0F << 0.0F << 180.0 << 0.0 << 0.0;
        QTest::newRow("pitch 30") << 0.0F << 0.2588190451F << 0.0F << 0.9659258263F << 0.0 << 30.0
                                  << 0.0;
        QTest::newRow("pitch -30")
            << 0.0F << -0.2588190451F << 0.0F << 0.9659258263F << 0.0 << -30.0 << 0.0;
        // Turns about all three axes at once, so that a swapped component or order changes the
        // result.
        QTest::newRow("10, 20, 30") << 0.0381345765F << 0.1893079218F << 0.2392983377F
                                    << 0.9515485246F << 10.0 << 20.0 << 30.0;
    }

    void knownQuaternions()
    {
        QFETCH(float, x);
        QFETCH(float, y);
        QFETCH(float, z);
        QFETCH(float, w);
        QFETCH(double, roll);
        QFETCH(double, pitch);
        QFETCH(double, yaw);
        compareAngles(rollPitchYaw(x, y, z, w), roll, pitch, yaw, 2e-5);
        // The length does not matter.
        compareAngles(rollPitchYaw(7.5F * x, 7.5F * y, 7.5F * z, 7.5F * w), roll, pitch, yaw, 2e-5);
        compareAngles(rollPitchYaw(0.001F * x, 0.001F * y, 0.001F * z, 0.001F * w), roll, pitch,
                      yaw, 2e-5);
    }

    void quaternionGivesItsAngles()
    {
        for (int roll = -175; roll <= 175; roll += 25) {
            for (int pitch = -80; pitch <= 80; pitch += 20) {
                for (int yaw = -170; yaw <= 170; yaw += 34) {
                    const Vector4 q = quaternionOf(roll, pitch, yaw);
                    compareAngles(rollPitchYaw(q.x, q.y, q.z, q.w), roll, pitch, yaw, 1e-3);
                    if (QTest::currentTestFailed())
                        return;
                }
            }
        }
    }

    // w y - x z is exactly +-0.5 for these quaternions, and the angle loses no digit.
    void straightUpAndDownAreExact()
    {
        QCOMPARE(rollPitchYaw(0.5F, 0.5F, -0.5F, 0.5F).pitchDeg, 90.0F);
        QCOMPARE(rollPitchYaw(-0.5F, 0.5F, 0.5F, 0.5F).pitchDeg, 90.0F);
        QCOMPARE(rollPitchYaw(0.5F, -0.5F, 0.5F, 0.5F).pitchDeg, -90.0F);
        QCOMPARE(rollPitchYaw(-0.5F, -0.5F, -0.5F, 0.5F).pitchDeg, -90.0F);
        QCOMPARE(rollPitchYaw(1.0F, 1.0F, -1.0F, 1.0F).pitchDeg, 90.0F);
    }

    // Normalising rounds. Where rounding makes the sine greater than 1, the pitch is NaN and the
    // other two angles are valid.
    void roundingPastOneGivesNoPitch()
    {
        int upwards = 0;
        int downwards = 0;
        for (int yaw = -180; yaw < 180; ++yaw) {
            const Vector4 up = quaternionOf(0, 90, yaw + 0.37);
            const Vector4 down = quaternionOf(0, -90, yaw + 0.37);
            const RollPitchYaw upAngles = rollPitchYaw(up.x, up.y, up.z, up.w);
            const RollPitchYaw downAngles = rollPitchYaw(down.x, down.y, down.z, down.w);
            upwards += std::isnan(upAngles.pitchDeg) ? 1 : 0;
            downwards += std::isnan(downAngles.pitchDeg) ? 1 : 0;
            QVERIFY(std::isfinite(upAngles.rollDeg) && std::isfinite(upAngles.yawDeg));
            QVERIFY(std::isnan(upAngles.pitchDeg) || upAngles.pitchDeg > 89.9F);
            QVERIFY(std::isnan(downAngles.pitchDeg) || downAngles.pitchDeg < -89.9F);
        }
        QVERIFY(upwards > 0);
        QVERIFY(downwards > 0);
    }

    void nanStaysNan()
    {
        const RollPitchYaw angles = rollPitchYaw(NAN, 0.0F, 0.0F, 1.0F);
        QVERIFY(std::isnan(angles.rollDeg));
        QVERIFY(std::isnan(angles.pitchDeg));
        QVERIFY(std::isnan(angles.yawDeg));
    }
};

QTEST_APPLESS_MAIN(TestAttitude)
#include "test_attitude.moc"
