#include "views/attitude.h"

#include <cmath>
#include <numbers>

#include <QQuaternion>

namespace {

float toDegrees(double radians)
{
    return static_cast<float>(radians * 180.0 / std::numbers::pi);
}

double angleOf(float sine, float cosine)
{
    return std::atan2(static_cast<double>(sine), static_cast<double>(cosine));
}

} // namespace

RollPitchYaw rollPitchYaw(float x, float y, float z, float w)
{
    QQuaternion q(w, x, y, z);
    q.normalize();
    x = q.x();
    y = q.y();
    z = q.z();
    w = q.scalar();

    // Twice the arc tangent of two square roots instead of an arc sine: near +-90 degrees the arc
    // sine loses half of the digits.
    const float sinPitch = 2.0F * (w * y - x * z);
    const double pitch = 2.0 * angleOf(std::sqrt(1.0F + sinPitch), std::sqrt(1.0F - sinPitch)) -
                         std::numbers::pi / 2.0;

    return {toDegrees(angleOf(2.0F * (w * x + y * z), 1.0F - 2.0F * (x * x + y * y))),
            toDegrees(pitch),
            toDegrees(angleOf(2.0F * (w * z + x * y), 1.0F - 2.0F * (y * y + z * z)))};
}
