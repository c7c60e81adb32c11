#pragma once

#include <QString>

#include "views/attitude.h"
#include "views/orbit_gl_widget.h"

class QColor;

// The attitude of the device in 3D: floor grid and world axes, the body axes turned by roll, pitch
// and yaw, an arc for each angle, and the three angles as text. GUI thread only.
class PoseGLWidget : public OrbitGLWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PoseGLWidget)

public:
    explicit PoseGLWidget(QWidget *parent = nullptr);
    ~PoseGLWidget() override;

    // Scalar last, of any length. A quaternion of length 0 is ignored.
    void setQuaternion(float x, float y, float z, float w);

    // Angles in degrees. The position is ignored, because the view shows only the attitude.
    void setPose(float x, float y, float z, float rollDeg, float pitchDeg, float yawDeg);

    const RollPitchYaw &attitude() const { return m_attitude; }

protected:
    void paintGL() override;

    // An arc of angleDeg degrees about axis 0 (X), 1 (Y) or 2 (Z) with a dot at its end; nothing
    // for an angle of (nearly) 0, a dot at the origin for any other axis.
    void drawHalfArc(int axis, float angleDeg, float radius, const QColor &color);
    void overlayText();

private:
    RollPitchYaw m_attitude;
};
