#include "views/magneto_gl_widget.h"

#include <cmath>
#include <numbers>
#include <utility>

#include <QPainter>

namespace {

constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kPointSize = 8.0F;
constexpr int kLatitudes = 18; // rings 10 degrees apart
constexpr int kLongitudes = 36;

} // namespace

MagnetoGLWidget::MagnetoGLWidget(QWidget *parent)
    : OrbitGLWidget(parent)
{
}

MagnetoGLWidget::~MagnetoGLWidget() = default;

void MagnetoGLWidget::setSamples(const std::vector<QVector3D> &raw,
                                 const std::vector<QVector3D> &corrected)
{
    // Copies first, because an argument may be one of the sets of this widget.
    std::vector<QVector3D> newRaw = raw;
    m_corrected = corrected;
    m_raw = std::move(newRaw);
    update();
}

void MagnetoGLWidget::initializeGL()
{
    OrbitGLWidget::initializeGL();
    setPointSize(kPointSize);
}

void MagnetoGLWidget::paintGL()
{
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    applyCamera();
    // Set for every frame, because the window may have moved to a screen with another scale.
    setLineWidth(1.0F);
    setPointSize(kPointSize);
    glColor3f(1.0F, 1.0F, 1.0F);
    drawUnitSphere(kLatitudes, kLongitudes);
    glColor3f(1.0F, 0.0F, 0.0F);
    drawPoints(m_raw);
    glColor3f(0.0F, 0.0F, 1.0F);
    drawPoints(m_corrected);
    drawLegend();
}

void MagnetoGLWidget::drawUnitSphere(int lats, int longs)
{
    const auto latitude = [lats](int i) {
        return kPi * (static_cast<float>(i) / static_cast<float>(lats) - 0.5F);
    };
    for (int i = 1; i <= lats; ++i) {
        drawRing(latitude(i - 1), longs);
        drawRing(latitude(i), longs);
    }
}

void MagnetoGLWidget::drawRing(float latitude, int longs)
{
    const float radius = std::cos(latitude);
    const float height = std::sin(latitude);
    glBegin(GL_LINE_LOOP);
    for (int j = 0; j < longs; ++j) {
        const float t = 2.0F * kPi * static_cast<float>(j) / static_cast<float>(longs);
        glVertex3f(std::cos(t) * radius, std::sin(t) * radius, height);
    }
    glEnd();
}

void MagnetoGLWidget::drawPoints(const std::vector<QVector3D> &points)
{
    glBegin(GL_POINTS);
    for (const QVector3D &point : points)
        glVertex3f(point.x(), point.y(), point.z());
    glEnd();
}

void MagnetoGLWidget::drawLegend()
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::blue);
    painter.drawText(10, 60, tr("Corrected data"));
}
