#pragma once

#include <QOpenGLFunctions>
#include <QOpenGLWidget>
#include <QPoint>

#include "views/orbit_camera.h"

// What the 3D views share: the orbit camera with its mouse and wheel bindings, the floor grid and
// the axis triad. Draws with the fixed-function pipeline, for which it asks a compatibility
// context. GUI thread only; applyCamera() and the draw functions need the widget's context
// current, that is inside paintGL(). A subclass paints: clear, applyCamera(), its scene.
//
// Left button orbits (and wins over the right one), right button pans, the wheel zooms. With the
// keyboard focus, which Tab and a click give, the arrow keys orbit, plus and minus zoom and Home
// returns to the first view.
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

    // Widths in pixels of the widget; GL itself counts those of the screen, which are smaller on a
    // screen that is scaled.
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
