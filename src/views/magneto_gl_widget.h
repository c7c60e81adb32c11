#pragma once

#include <vector>

#include <QVector3D>

#include "views/orbit_gl_widget.h"

// Draws magnetometer readings around a wireframe unit sphere: raw ones in red, corrected ones in
// blue. Their unit is the radius of the sphere. After a good correction the blue points lie on the
// sphere. GUI thread only.
class MagnetoGLWidget : public OrbitGLWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(MagnetoGLWidget)

public:
    explicit MagnetoGLWidget(QWidget *parent = nullptr);
    ~MagnetoGLWidget() override;

    // Replaces both sets by copies.
    void setSamples(const std::vector<QVector3D> &raw, const std::vector<QVector3D> &corrected);

    const std::vector<QVector3D> &rawSamples() const { return m_raw; }
    const std::vector<QVector3D> &correctedSamples() const { return m_corrected; }

protected:
    void initializeGL() override;
    void paintGL() override;

    // Draws bands of latitude as two rings each, of `longs` vertices: inner rings are drawn twice,
    // and the poles are rings of radius 0. No meridians.
    void drawUnitSphere(int lats, int longs);

private:
    void drawRing(float latitude, int longs);
    void drawPoints(const std::vector<QVector3D> &points);
    void drawLegend();

    std::vector<QVector3D> m_raw;
    std::vector<QVector3D> m_corrected;
};
