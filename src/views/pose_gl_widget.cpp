#include "views/pose_gl_widget.h"

#include <array>
#include <cmath>

#include <QPainter>
#include <QQuaternion>

namespace {

constexpr int kArcSegments = 48;
constexpr float kArcRadius = 0.9F;
constexpr float kNoArcBelowDeg = 1e-5F;
constexpr float kRadiansPerDegree = 0.017453292F;

std::array<float, 3> arcPoint(int axis, float radius, float angle)
{
    const float c = radius * std::cos(angle);
    const float s = radius * std::sin(angle);
    switch (axis) {
    case 0:
        return {0.0F, c, s};
    case 1:
        return {c, 0.0F, s};
    case 2:
        return {c, s, 0.0F};
    default:
        return {0.0F, 0.0F, 0.0F};
    }
}

} // namespace

PoseGLWidget::PoseGLWidget(QWidget *parent)
    : OrbitGLWidget(parent)
{
}

PoseGLWidget::~PoseGLWidget() = default;

void PoseGLWidget::setQuaternion(float x, float y, float z, float w)
{
    if (QQuaternion(w, x, y, z).lengthSquared() == 0.0F)
        return;
    m_attitude = rollPitchYaw(x, y, z, w);
    update();
}

void PoseGLWidget::setPose(float /*x*/, float /*y*/, float /*z*/, float rollDeg, float pitchDeg,
                           float yawDeg)
{
    m_attitude = {rollDeg, pitchDeg, yawDeg};
    update();
}

// The text painter leaves the depth test disabled, so from the second frame on the order of drawing
// decides: axes and arcs stay visible where they lie in the plane of the grid.
void PoseGLWidget::paintGL()
{
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    applyCamera();
    drawGrid(2.0F, 20);
    drawAxes(1.0F);

    glPushMatrix();
    glRotatef(m_attitude.yawDeg, 0.0F, 0.0F, 1.0F);
    glRotatef(m_attitude.pitchDeg, 0.0F, 1.0F, 0.0F);
    glRotatef(m_attitude.rollDeg, 1.0F, 0.0F, 0.0F);
    drawAxes(0.8F);
    drawHalfArc(0, m_attitude.rollDeg, kArcRadius, QColor(255, 0, 0));
    drawHalfArc(1, m_attitude.pitchDeg, kArcRadius, QColor(0, 255, 0));
    drawHalfArc(2, m_attitude.yawDeg, kArcRadius, QColor(0, 0, 255));
    glPopMatrix();

    overlayText();
}

void PoseGLWidget::drawHalfArc(int axis, float angleDeg, float radius, const QColor &color)
{
    if (std::fabs(angleDeg) <= kNoArcBelowDeg)
        return;
    const float angle = angleDeg * kRadiansPerDegree;

    setLineWidth(2.0F);
    glColor3f(color.redF(), color.greenF(), color.blueF());
    glBegin(GL_LINE_STRIP);
    for (int i = 0; i <= kArcSegments; ++i) {
        const float a = static_cast<float>(i) * angle / static_cast<float>(kArcSegments);
        glVertex3fv(arcPoint(axis, radius, a).data());
    }
    glEnd();

    setPointSize(6.0F);
    glBegin(GL_POINTS);
    glVertex3fv(arcPoint(axis, radius, angle).data());
    glEnd();
}

void PoseGLWidget::overlayText()
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(230, 230, 235));
    QFont font = painter.font();
    font.setPointSizeF(font.pointSizeF() + 1.0);
    painter.setFont(font);

    const QString text = tr("Roll=%1°   Pitch=%2°   Yaw=%3°")
                             .arg(m_attitude.rollDeg, 0, 'f', 1)
                             .arg(m_attitude.pitchDeg, 0, 'f', 1)
                             .arg(m_attitude.yawDeg, 0, 'f', 1);
    painter.drawText(QPointF(10.0, height() - 10.0), text);
}
