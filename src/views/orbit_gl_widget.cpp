#include "views/orbit_gl_widget.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QSurfaceFormat>
#include <QWheelEvent>

namespace {

// A key press orbits like a drag over this many pixels: 3.5 degrees.
constexpr int kOrbitStep = 10;
constexpr int kWheelNotch = 120;

// The default format may be a core profile, which lacks the fixed pipeline. If version 2.1 is
// requested, a driver returns the newest version that still has it.
QSurfaceFormat fixedPipelineFormat()
{
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setVersion(2, 1);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    format.setOption(QSurfaceFormat::DeprecatedFunctions);
    format.setDepthBufferSize(24);
    return format;
}

} // namespace

OrbitGLWidget::OrbitGLWidget(QWidget *parent)
    : QOpenGLWidget(parent)
{
    setFormat(fixedPipelineFormat());
    setFocusPolicy(Qt::StrongFocus);
    retranslateUi();
}

OrbitGLWidget::~OrbitGLWidget() = default;

QSize OrbitGLWidget::sizeHint() const
{
    return {360, 260};
}

QSize OrbitGLWidget::minimumSizeHint() const
{
    return {220, 180};
}

void OrbitGLWidget::initializeGL()
{
    initializeOpenGLFunctions();
    glEnable(GL_DEPTH_TEST);
    glEnable(GL_CULL_FACE);
    glClearColor(0.1F, 0.1F, 0.12F, 1.0F);
}

void OrbitGLWidget::resizeGL(int w, int h)
{
    m_camera.setViewport(w, h);
    glViewport(0, 0, w, h);
}

void OrbitGLWidget::mousePressEvent(QMouseEvent *event)
{
    m_lastMousePosition = event->position().toPoint();
    event->accept();
}

void OrbitGLWidget::mouseMoveEvent(QMouseEvent *event)
{
    const QPoint position = event->position().toPoint();
    const QPoint delta = position - m_lastMousePosition;
    m_lastMousePosition = position;

    if (event->buttons().testFlag(Qt::LeftButton)) {
        m_camera.orbit(delta.x(), delta.y());
        update();
    } else if (event->buttons().testFlag(Qt::RightButton)) {
        m_camera.pan(delta.x(), delta.y());
        update();
    } else {
        event->ignore();
    }
}

void OrbitGLWidget::wheelEvent(QWheelEvent *event)
{
    m_camera.zoom(event->angleDelta().y());
    update();
    event->accept();
}

// Leaves keys with Ctrl, Alt or Meta to the shortcuts of the window. Allows Shift, because plus may
// need it.
void OrbitGLWidget::keyPressEvent(QKeyEvent *event)
{
    const bool isShortcut =
        (event->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier)) != Qt::NoModifier;
    if (isShortcut || !moveCamera(event->key())) {
        QOpenGLWidget::keyPressEvent(event);
        return;
    }
    update();
    event->accept();
}

// Returns false for a key that has no function here.
bool OrbitGLWidget::moveCamera(int key)
{
    switch (key) {
    case Qt::Key_Left:
        m_camera.orbit(-kOrbitStep, 0);
        return true;
    case Qt::Key_Right:
        m_camera.orbit(kOrbitStep, 0);
        return true;
    case Qt::Key_Up:
        m_camera.orbit(0, -kOrbitStep);
        return true;
    case Qt::Key_Down:
        m_camera.orbit(0, kOrbitStep);
        return true;
    case Qt::Key_Plus:
    case Qt::Key_Equal: // plus without Shift on many keyboards
        m_camera.zoom(kWheelNotch);
        return true;
    case Qt::Key_Minus:
        m_camera.zoom(-kWheelNotch);
        return true;
    case Qt::Key_Home:
        m_camera.reset();
        return true;
    default:
        return false;
    }
}

void OrbitGLWidget::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QOpenGLWidget::changeEvent(event);
}

void OrbitGLWidget::retranslateUi()
{
    setToolTip(tr("Orbit: drag with the left mouse button, or arrow keys\n"
                  "Pan: drag with the right mouse button\n"
                  "Zoom: mouse wheel, or + and − keys\n"
                  "First view: Home key"));
}

void OrbitGLWidget::setLineWidth(float width)
{
    glLineWidth(width * static_cast<float>(devicePixelRatioF()));
}

void OrbitGLWidget::setPointSize(float size)
{
    glPointSize(size * static_cast<float>(devicePixelRatioF()));
}

void OrbitGLWidget::applyCamera()
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glLoadMatrixf(m_camera.projection().constData());

    const QVector3D eye = m_camera.eye();
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixf(m_camera.viewRotation().constData());
    glTranslatef(-eye.x(), -eye.y(), -eye.z());
}

void OrbitGLWidget::drawGrid(float size, int n)
{
    glDisable(GL_CULL_FACE);
    setLineWidth(1.0F);
    glColor3f(0.25F, 0.25F, 0.28F);
    glBegin(GL_LINES);
    for (int i = -n; i <= n; ++i) {
        const float t = static_cast<float>(i) * size / static_cast<float>(n);
        glVertex3f(-size, t, 0.0F);
        glVertex3f(size, t, 0.0F);
        glVertex3f(t, -size, 0.0F);
        glVertex3f(t, size, 0.0F);
    }
    glEnd();
    glEnable(GL_CULL_FACE);
}

void OrbitGLWidget::drawAxes(float length)
{
    setLineWidth(3.0F);
    glBegin(GL_LINES);
    glColor3f(1.0F, 0.0F, 0.0F);
    glVertex3f(0.0F, 0.0F, 0.0F);
    glVertex3f(length, 0.0F, 0.0F);
    glColor3f(0.0F, 1.0F, 0.0F);
    glVertex3f(0.0F, 0.0F, 0.0F);
    glVertex3f(0.0F, length, 0.0F);
    glColor3f(0.0F, 0.0F, 1.0F);
    glVertex3f(0.0F, 0.0F, 0.0F);
    glVertex3f(0.0F, 0.0F, length);
    glEnd();
}
