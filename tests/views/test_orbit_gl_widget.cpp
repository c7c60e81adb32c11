#include <memory>

#include <QSurfaceFormat>
#include <QTest>

#include "tests/fixtures/wait_limit.h"
#include "tests/views/bare_view.h"
#include "tests/views/gl_probe.h"

// Surface, camera and drawing.
class TestOrbitGLWidget : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<BareView> m_view;

    bool isLit(const QImage &image, QVector3D point, QRgb color) const
    {
        return hasColorAt(image, onImage(m_view->camera(), image.size(), point), color);
    }

private slots:
    void init()
    {
        m_view = std::make_unique<BareView>();
        QVERIFY(m_view->showAndPaint());
    }

    void cleanup() { m_view.reset(); }

    void sizes()
    {
        QCOMPARE(m_view->sizeHint(), QSize(360, 260));
        QCOMPARE(m_view->minimumSizeHint(), QSize(220, 180));
    }

    void neverShownIsDestroyedSafely()
    {
        BareView unseen;
        unseen.wheel(120);
        QCOMPARE(unseen.camera().distance(), 2.7F);
    }

    // A core profile draws nothing here, so the widget must not inherit one from the default
    // format.
    void asksForTheFixedPipeline()
    {
        const QSurfaceFormat standard = QSurfaceFormat::defaultFormat();
        QSurfaceFormat core = standard;
        core.setVersion(3, 3);
        core.setProfile(QSurfaceFormat::CoreProfile);
        QSurfaceFormat::setDefaultFormat(core);
        const BareView view;
        QSurfaceFormat::setDefaultFormat(standard);
        QCOMPARE(view.format().profile(), QSurfaceFormat::CompatibilityProfile);
        QCOMPARE(view.format().renderableType(), QSurfaceFormat::OpenGL);
        QVERIFY(view.format().depthBufferSize() >= 16);
        QVERIFY(m_view->context()->format().profile() != QSurfaceFormat::CoreProfile);
    }

    void clearColor()
    {
        const QImage image = m_view->grabFramebuffer();
        QCOMPARE(image.size(), QSize(400, 300));
        for (const QPoint at : {QPoint(0, 0), QPoint(399, 299), QPoint(200, 150)})
            QVERIFY(isNearColor(image.pixel(at), kClearColor));
    }

    void viewportFollowsTheSize()
    {
        QCOMPARE(m_view->camera().aspect(), 400.0F / 300.0F);
        m_view->resize(600, 300);
        QTRY_COMPARE(m_view->camera().aspect(), 2.0F);
        m_view->grabFramebuffer();
        QCOMPARE(m_view->viewport[2], 600);
        QCOMPARE(m_view->viewport[3], 300);
    }

    void zeroHeightIsSafe()
    {
        m_view->makeCurrent();
        m_view->resizeGL(400, 0);
        QCOMPARE(m_view->camera().aspect(), 400.0F);
        int viewport[4] = {};
        m_view->context()->functions()->glGetIntegerv(GL_VIEWPORT, viewport);
        QCOMPARE(viewport[2], 400);
        QCOMPARE(viewport[3], 0);
        m_view->doneCurrent();
    }

    void axes()
    {
        m_view->withAxes = true;
        m_view->press({100, 100});
        m_view->move({0, 100}, Qt::LeftButton); // yaw 35: no axis hides another
        const QImage image = m_view->grabFramebuffer();
        for (const float along : {0.1F, 0.5F, 0.95F}) {
            QVERIFY(isLit(image, {along, 0, 0}, kRed));
            QVERIFY(isLit(image, {0, along, 0}, kGreen));
            QVERIFY(isLit(image, {0, 0, along}, kBlue));
            QVERIFY(isLit(image, {-along, 0, 0}, kClearColor));
            QVERIFY(isLit(image, {0, -along, 0}, kClearColor));
            QVERIFY(isLit(image, {0, 0, -along}, kClearColor));
        }
        QVERIFY(!isLit(image, {1.05F, 0, 0}, kRed));
        QVERIFY(!isLit(image, {0, 1.05F, 0}, kGreen));
        QVERIFY(!isLit(image, {0, 0, 1.05F}, kBlue));
    }

    void grid()
    {
        m_view->withGrid = true;
        m_view->press({0, 0});
        m_view->move({0, 100}, Qt::LeftButton); // pitch 55: nearby lines stay apart
        const QImage image = m_view->grabFramebuffer();
        for (const float t : {-0.5F, -0.1F, 0.0F, 0.3F, 0.7F}) {
            QVERIFY(isLit(image, {t, 0.25F, 0}, kGridColor));
            QVERIFY(isLit(image, {0.25F, t, 0}, kGridColor));
            // The middle of a grid square is empty.
            const QPointF middle = onImage(m_view->camera(), image.size(), {t + 0.05F, 0.25F, 0});
            QVERIFY(isNearColor(image.pixel(middle.toPoint()), kClearColor));
        }
        m_view->wheel(-120 * 6);
        const QImage far = m_view->grabFramebuffer();
        QVERIFY(isLit(far, {1.95F, 2.0F, 0}, kGridColor));
        QVERIFY(isLit(far, {-2.0F, -1.95F, 0}, kGridColor));
        QVERIFY(!isLit(far, {2.15F, 0.0F, 0}, kGridColor));
        QVERIFY(!isLit(far, {0.0F, -2.15F, 0}, kGridColor));
    }
};

QTEST_MAIN(TestOrbitGLWidget)
#include "test_orbit_gl_widget.moc"
