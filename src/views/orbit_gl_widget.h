#pragma once

#include <QOpenGLFunctions>
#include <QOpenGLWidget>
#include <QPoint>

#include "views/orbit_camera.h"

// Base class of the 3D views: the orbit camera with its mouse and wheel bindings, the floor grid
// and the axis triad. Draws with the fixed-function pipeline and requests a compatibility context
// for it. GUI thread only. Call applyCamera() and the draw functions with the widget's context
// current, that is, inside paintGL(). A subclass implements paintGL(): clear, applyCamera(), draw
// the scene.
//
// The left button orbits and takes precedence over the right one, the right button pans, the wheel
// zooms. With the keyboard focus, which Tab or a click gives, the arrow keys orbit, plus and minus
// zoom and Home returns to the first view.
class OrbitGLWidget : public QOpenGLWidget, protected QOpenGLFunctions
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(OrbitGLWidget)

public:
    explicit OrbitGLWidget(QWidget *parent = nullptr);
    ~OrbitGLWidget() override;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    const OrbitCamera &camera() const { return m_camera; }

protected:
    void initializeGL() override;
    void resizeGL(int w, int h) override;

    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void changeEvent(QEvent *event) override;

    // Sizes in widget pixels. GL itself uses screen pixels, which are smaller on a scaled screen.
    void setLineWidth(float width);
    void setPointSize(float size);

    // Loads the projection and the view matrix; leaves the modelview stack selected.
    void applyCamera();
    // Lines in the plane Z = 0 from -size to size, n squares on either side of each axis.
    void drawGrid(float size, int n);
    // X red, Y green, Z blue, from the origin.
    void drawAxes(float length);

private:
    bool moveCamera(int key);
    void retranslateUi();

    OrbitCamera m_camera;
    QPoint m_lastMousePosition;
};
