#pragma once

#include <QMouseEvent>
#include <QTest>
#include <QWheelEvent>

#include "tests/fixtures/wait_limit.h"
#include "views/orbit_gl_widget.h"

// A view that paints on request and takes events as the window system sends them.
class BareView : public OrbitGLWidget
{
public:
    bool withGrid = false;
    bool withAxes = false;
    int paints = 0;
    int viewport[4] = {};

    using OrbitGLWidget::resizeGL;

    bool showAndPaint()
    {
        resize(400, 300);
        show();
        return QTest::qWaitForWindowExposed(this, kWaitLimitMs) &&
               QTest::qWaitFor([this] { return paints > 0; }, kWaitLimitMs);
    }

    bool paintsAgain()
    {
        const int before = paints;
        return QTest::qWaitFor([&] { return paints > before; }, kWaitLimitMs);
    }

    void sendMouse(QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons buttons,
                   bool expectAccepted)
    {
        QMouseEvent event(type, at, mapToGlobal(at), button, buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(this, &event);
        QCOMPARE(event.isAccepted(), expectAccepted);
    }

    void press(QPointF at, Qt::MouseButton button = Qt::LeftButton)
    {
        sendMouse(QEvent::MouseButtonPress, at, button, button, true);
    }

    void move(QPointF to, Qt::MouseButtons buttons, bool expectAccepted = true)
    {
        sendMouse(QEvent::MouseMove, to, Qt::NoButton, buttons, expectAccepted);
    }

    void wheel(int angleDelta)
    {
        QWheelEvent event(QPointF(5, 5), mapToGlobal(QPointF(5, 5)), QPoint(),
                          QPoint(77, angleDelta), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                          false);
        event.ignore();
        QCoreApplication::sendEvent(this, &event);
        QVERIFY(event.isAccepted());
    }

protected:
    void paintGL() override
    {
        ++paints;
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        applyCamera();
        glGetIntegerv(GL_VIEWPORT, viewport);
        if (withGrid)
            drawGrid(2.0F, 20);
        if (withAxes)
            drawAxes(1.0F);
    }
};
