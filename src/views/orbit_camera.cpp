#include "views/orbit_camera.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float kRadiansPerDegree = 0.017453292F;
constexpr float kOrbitDegreesPerPixel = 0.35F;
constexpr float kPanPerPixelAndDistance = 0.0025F;
constexpr float kZoomPerNotch = 0.9F;
constexpr float kAngleDeltaPerNotch = 120.0F;

} // namespace

QVector3D OrbitCamera::target() const
{
    return {m_panX, m_panY, 0.0F};
}

QVector3D OrbitCamera::eye() const
{
    const float yaw = m_yawDeg * kRadiansPerDegree;
    const float pitch = m_pitchDeg * kRadiansPerDegree;
    const QVector3D direction(std::cos(pitch) * std::cos(yaw), std::cos(pitch) * std::sin(yaw),
                              std::sin(pitch));
    return target() + m_distance * direction;
}

QMatrix4x4 OrbitCamera::projection() const
{
    QMatrix4x4 matrix;
    matrix.perspective(kFieldOfViewDeg, m_aspect, kNearPlane, kFarPlane);
    return matrix;
}

QMatrix4x4 OrbitCamera::viewRotation() const
{
    const QVector3D forward = (target() - eye()).normalized();
    const QVector3D side = QVector3D::crossProduct(forward, {0.0F, 0.0F, 1.0F}).normalized();
    const QVector3D up = QVector3D::crossProduct(side, forward);

    QMatrix4x4 rotation;
    rotation.setRow(0, {side, 0.0F});
    rotation.setRow(1, {up, 0.0F});
    rotation.setRow(2, {-forward, 0.0F});
    return rotation;
}

void OrbitCamera::setViewport(int width, int height)
{
    m_aspect = static_cast<float>(width) / static_cast<float>(std::max(height, 1));
}

void OrbitCamera::orbit(int dx, int dy)
{
    m_yawDeg -= static_cast<float>(dx) * kOrbitDegreesPerPixel;
    m_pitchDeg = std::clamp(m_pitchDeg + static_cast<float>(dy) * kOrbitDegreesPerPixel,
                            -kMaxPitchDeg, kMaxPitchDeg);
}

void OrbitCamera::pan(int dx, int dy)
{
    const float perPixel = kPanPerPixelAndDistance * m_distance;
    m_panX -= static_cast<float>(dy) * perPixel;
    m_panY -= static_cast<float>(dx) * perPixel;
}

void OrbitCamera::zoom(int angleDelta)
{
    const float factor =
        std::pow(kZoomPerNotch, static_cast<float>(angleDelta) / kAngleDeltaPerNotch);
    m_distance = std::clamp(m_distance * factor, kMinDistance, kMaxDistance);
}

void OrbitCamera::reset()
{
    const float aspect = m_aspect;
    *this = OrbitCamera();
    m_aspect = aspect;
}
