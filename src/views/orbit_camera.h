#pragma once

#include <QMatrix4x4>
#include <QVector3D>

// The camera of the 3D views: it orbits a target on the plane Z = 0, with Z up. Lengths in world
// units, angles in degrees, mouse distances in widget pixels (y grows downwards). Numbers only: no
// widget, no GL.
class OrbitCamera
{
public:
    static constexpr float kFieldOfViewDeg = 40.0F;
    static constexpr float kNearPlane = 0.01F;
    static constexpr float kFarPlane = 100.0F;
    static constexpr float kMaxPitchDeg = 89.0F;
    static constexpr float kMinDistance = 0.5F;
    static constexpr float kMaxDistance = 30.0F;

    float distance() const { return m_distance; }
    float yawDeg() const { return m_yawDeg; }     // azimuth of the eye around Z
    float pitchDeg() const { return m_pitchDeg; } // elevation of the eye above Z = 0
    float aspect() const { return m_aspect; }     // width / height

    QVector3D target() const;
    QVector3D eye() const;
    QMatrix4x4 projection() const;
    QMatrix4x4 viewRotation() const; // the view matrix without its translation by -eye()

    // Width / height, a height below 1 counting as 1.
    void setViewport(int width, int height);

    void orbit(int dx, int dy);
    // Vertical motion moves the target along world X, horizontal motion along world Y, whatever
    // the yaw: from the default yaw the picture then follows the mouse.
    void pan(int dx, int dy);
    // In eighths of a degree of wheel rotation; a notch (120) brings the eye 10 % closer.
    void zoom(int angleDelta);
    // Back to the first view; the viewport stays.
    void reset();

private:
    float m_distance = 3.0F;
    float m_yawDeg = 0.0F;
    float m_pitchDeg = 20.0F;
    float m_panX = 0.0F;
    float m_panY = 0.0F;
    float m_aspect = 1.0F;
};
