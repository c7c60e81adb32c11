// On a scaled screen the lines and points of the views have the same thickness, relative to
// everything else, as on an unscaled one. The scale is QT_SCALE_FACTOR, or 2 if that is not set.

#include <cmath>

#include <QApplication>
#include <QGraphicsView>
#include <QImage>
#include <QTest>

#include "tests/views/gl_probe.h"
#include "tests/views/plot_scene.h"
#include "views/magneto_gl_widget.h"
#include "views/pose_gl_widget.h"
#include "views/rpy_plotter.h"

namespace {

constexpr QSize kSize(400, 300);
constexpr QColor kBackground(16, 16, 20);

class Scenery : public OrbitGLWidget
{
public:
    bool withGrid = false;

protected:
    void paintGL() override
    {
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        applyCamera();
        if (withGrid)
            drawGrid(2.0F, 20);
        else
            drawAxes(1.0F);
    }
};

// Length of the unbroken run of pixels of a colour through `from`, along `step` and against it.
// Starts at the nearest such pixel within two steps.
int run(const QImage &image, QPointF from, QPoint step, QRgb color)
{
    const auto isIt = [&](QPoint at) {
        return image.valid(at) && isNearColor(image.pixel(at), color);
    };
    QPoint start(static_cast<int>(std::floor(from.x())), static_cast<int>(std::floor(from.y())));
    for (const int shift : {0, 1, -1, 2, -2}) {
        if (isIt(start + shift * step)) {
            start += shift * step;
            break;
        }
    }
    if (!isIt(start))
        return 0;
    int length = 1;
    for (QPoint at = start + step; isIt(at); at += step)
        ++length;
    for (QPoint at = start - step; isIt(at); at -= step)
        ++length;
    return length;
}

// Width of an antialiased line in pixels: its share of the colour between two points of a row or
// column.
double coverage(const QImage &image, QPoint from, QPoint step, int count, QColor line)
{
    const auto part = [&](QRgb rgb) {
        const double whole = line.red() - kBackground.red();
        return (qRed(rgb) - kBackground.red()) / whole;
    };
    double sum = 0.0;
    for (int i = 0; i < count; ++i)
        sum += part(image.pixel(from + i * step));
    return sum;
}

template <class View>
QImage shown(View &view)
{
    view.resize(kSize);
    view.show();
    if (!QTest::qWaitForWindowExposed(&view))
        return {};
    return view.grabFramebuffer().convertToFormat(QImage::Format_RGB32);
}

} // namespace

class TestScaledViews : public QObject
{
    Q_OBJECT

    double m_ratio = 1.0;

    // GL draws whole pixels; some drivers round a half up, others down.
    bool isWide(int pixels, double width) const
    {
        return std::abs(pixels - width * m_ratio) <= 0.5;
    }

private slots:
    void initTestCase()
    {
        m_ratio = qApp->devicePixelRatio();
        QCOMPARE(m_ratio, qEnvironmentVariable("QT_SCALE_FACTOR").toDouble());
    }

    void axesAreThreePixelsWide()
    {
        Scenery view;
        const QImage image = shown(view);
        QCOMPARE(image.size(), kSize * m_ratio);
        const auto at = [&](QVector3D point) {
            return onImage(view.camera(), image.size(), point);
        };
        QVERIFY(isWide(run(image, at({0, 0, 0.5F}), {1, 0}, kBlue), 3.0));
        QVERIFY(isWide(run(image, at({0, 0.5F, 0}), {0, 1}, kGreen), 3.0));
    }

    void gridLinesAreOnePixelWide()
    {
        Scenery view;
        view.withGrid = true;
        const QImage image = shown(view);
        const QPointF between = onImage(view.camera(), image.size(), {0.65F, 0.1F, 0});
        QVERIFY(isWide(run(image, between, {1, 0}, kGridColor), 1.0));
    }

    void arcsAreTwoPixelsWideAndEndInADotOfSix()
    {
        PoseGLWidget view;
        view.setPose(0, 0, 0, 0, 0, 90);
        const QImage image = shown(view);
        const auto at = [&](double degrees) {
            const auto angle = static_cast<float>(degrees * M_PI / 180);
            return onImage(view.camera(), image.size(),
                           {0.9F * std::cos(angle), 0.9F * std::sin(angle), 0});
        };
        // In world coordinates the arc goes from 90 to 180 degrees, so there is no arc to the left
        // of its dot.
        QVERIFY(isWide(run(image, at(150), {0, 1}, kBlue), 2.0));
        QVERIFY(isWide(run(image, at(180) - QPointF(2 * m_ratio, 0), {0, 1}, kBlue), 6.0));
    }

    void scatterPointsAreEightPixelsWide()
    {
        MagnetoGLWidget view;
        view.setSamples({{0, 1.3F, 0}}, {{0, -1.3F, 0}});
        const QImage image = shown(view);
        const auto at = [&](float y) { return onImage(view.camera(), image.size(), {0, y, 0}); };
        for (const QPoint step : {QPoint(1, 0), QPoint(0, 1)}) {
            QVERIFY(isWide(run(image, at(1.3F), step, kRed), 8.0));
            QVERIFY(isWide(run(image, at(-1.3F), step, kBlue), 8.0));
        }
    }

    void ringsOfTheSphereAreOnePixelWide()
    {
        MagnetoGLWidget view;
        const QImage image = shown(view);
        QVERIFY(isWide(
            run(image, onImage(view.camera(), image.size(), {1, 0, 0}), {0, 1}, 0xffffffff), 1.0));
    }

    // Horizontal curves, so that a column crosses each at a right angle.
    void linesOfThePlot()
    {
        QGraphicsView view;
        view.resize(kSize);
        RpyPlotter plotter;
        plotter.attach(&view);
        for (int i = 0; i < 600; ++i)
            plotter.addRPY(95.0F, -95.0F, 45.0F);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        const auto pixelAt = [&](double sample, double angle) {
            const QPoint at =
                view.viewport()->mapTo(&view, view.mapFromScene(QPointF(sample, angle)));
            return (QPointF(at) * m_ratio).toPoint();
        };
        const QImage image = view.grab().toImage();
        QCOMPARE(image.devicePixelRatio(), m_ratio);
        const int reach = static_cast<int>(std::lround(4.0 * m_ratio));
        const auto across = [&](QPoint middle, QPoint step, const QColor &line) {
            return coverage(image, middle - reach * step, step, 2 * reach + 1, line);
        };
        const double curve = across(pixelAt(455.0, 95.0), {0, 1}, QColor(255, 60, 60));
        QVERIFY2(std::abs(curve - 2.0 * m_ratio) < 0.2, qPrintable(QString::number(curve)));
        const double minor = across(pixelAt(450.0, 5.0), {1, 0}, QColor(60, 60, 70));
        QVERIFY2(std::abs(minor - m_ratio) < 0.2, qPrintable(QString::number(minor)));
        const double major = across(pixelAt(500.0, 5.0), {1, 0}, QColor(95, 95, 110));
        QVERIFY2(std::abs(major - m_ratio) < 0.2, qPrintable(QString::number(major)));
    }

    // The swatch of roll, measured at its end: a red line on the legend's fill.
    void legendSwatchesAreThreePixelsWide()
    {
        QGraphicsView view;
        view.resize(kSize);
        RpyPlotter plotter;
        plotter.attach(&view);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        const PlotScene plot = PlotScene::of(*plotter.scene());
        const QImage image = view.grab().toImage();
        const QPointF swatch =
            plot.swatches[0]->deviceTransform(view.viewportTransform()).map(QPointF(14, 13));
        const QPointF middle = (swatch + view.viewport()->pos()) * m_ratio;
        const int length = run(image, middle, {0, 1}, qRgb(255, 60, 60));
        // The edges can lie between two pixels.
        QVERIFY2(length <= std::ceil(3.0 * m_ratio) && length >= std::floor(3.0 * m_ratio) - 1,
                 qPrintable(QString::number(length)));
    }
};

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_SCALE_FACTOR"))
        qputenv("QT_SCALE_FACTOR", "2");
    QApplication application(argc, argv);
    TestScaledViews test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_scaled_views.moc"
