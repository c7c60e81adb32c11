#include <algorithm>
#include <cmath>

#include <QGraphicsView>
#include <QImage>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <QTest>

#include "tests/views/plot_scene.h"
#include "views/polyline_strips.h"
#include "views/rpy_plotter.h"

namespace {

constexpr QRgb kBackground = 0xff101014;

void addMotion(RpyPlotter &plotter, int from, int to)
{
    for (int i = from; i < to; ++i) {
        const double t = 0.02 * i;
        plotter.addRPY(static_cast<float>(60 * std::sin(t)),
                       static_cast<float>(40 * std::sin(1.3 * t + 1) + 5 * std::sin(17 * t)),
                       static_cast<float>(170 * std::sin(1.7 * t)));
    }
}

QImage canvas(qreal ratio)
{
    QImage image(QSize(450, 300) * ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    image.fill(kBackground);
    return image;
}

QTransform fitting(const QRectF &sceneRect)
{
    return QTransform::fromScale(446.0 / sceneRect.width(), 296.0 / sceneRect.height())
        .translate(-sceneRect.left(), -sceneRect.top());
}

// Reference: Qt's own painting of the same path, with a pen as wide in the widget's pixels.
void paintPlainly(QPainter &painter, const QGraphicsPathItem &item)
{
    QPen pen = item.pen();
    pen.setWidthF(pen.widthF() * painter.device()->devicePixelRatioF());
    painter.setPen(pen);
    painter.setBrush(item.brush());
    painter.drawPath(item.path());
}

int differentPixels(const QImage &one, const QImage &other)
{
    int different = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x)
            different += one.pixel(x, y) != other.pixel(x, y) ? 1 : 0;
    }
    return different;
}

int pixelsOf(const QImage &image, QRgb color)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += image.pixel(x, y) == color ? 1 : 0;
    }
    return count;
}

} // namespace

class TestPlotPainting : public QObject
{
    Q_OBJECT

private slots:
    void curvesAreTheSamePixels_data()
    {
        QTest::addColumn<double>("ratio");
        QTest::addColumn<int>("samples");
        QTest::addColumn<int>("history");
        // Few samples, far apart: some strips contain no vertex.
        QTest::newRow("10 in 10") << 1.0 << 10 << 10;
        QTest::newRow("20 in 20") << 1.0 << 20 << 20;
        for (const double ratio : {1.0, 1.25, 1.5, 2.0}) {
            for (const int samples : {1, 2, 40, 599, 1000})
                QTest::addRow("%d samples at %g", samples, ratio) << ratio << samples << 600;
        }
    }

    void curvesAreTheSamePixels()
    {
        QFETCH(double, ratio);
        QFETCH(int, samples);
        QFETCH(int, history);
        RpyPlotter plotter;
        plotter.setHistory(history);
        addMotion(plotter, 0, samples);
        const PlotScene plot = PlotScene::of(*plotter.scene());
        const QTransform transform = fitting(plotter.scene()->sceneRect());
        for (QGraphicsPathItem *item : plot.series) {
            QImage ours = canvas(ratio);
            QImage plain = canvas(ratio);
            QPainter onOurs(&ours);
            QPainter onPlain(&plain);
            for (QPainter *painter : {&onOurs, &onPlain}) {
                painter->setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
                painter->setTransform(transform);
            }
            QStyleOptionGraphicsItem option;
            item->paint(&onOurs, &option, nullptr);
            paintPlainly(onPlain, *item);
            onOurs.end();
            onPlain.end();
            QCOMPARE(differentPixels(ours, plain), 0);
            QVERIFY(samples == 1 || pixelsOf(ours, kBackground) < ours.width() * ours.height());
        }
    }

    // The painter keeps its own clip and all its other settings.
    void stripsLeaveThePainterAsItWas()
    {
        QImage image = canvas(1.0);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setClipRect(0, 0, 100, 300);
        painter.setPen(QPen(Qt::red, 2.0));
        QPolygonF points;
        for (int x = 0; x < 450; ++x)
            points << QPointF(x, 150);
        drawPolylineInStrips(painter, points);
        QCOMPARE(painter.clipBoundingRect(), QRectF(0, 0, 100, 300));
        painter.end();
        QCOMPARE(image.pixel(99, 150), QColor(Qt::red).rgb());
        QCOMPARE(image.pixel(100, 150), kBackground);
    }

    void stripsNeedASuitablePainter()
    {
        QImage image = canvas(1.0);
        QPainter painter(&image);
        QVERIFY(!canPaintInStrips(painter)); // not antialiased
        painter.setRenderHint(QPainter::Antialiasing);
        QVERIFY(canPaintInStrips(painter));
        painter.scale(2.0, -3.0);
        QVERIFY(canPaintInStrips(painter));
        painter.scale(-1.0, 1.0);
        QVERIFY(!canPaintInStrips(painter)); // x descends
        painter.resetTransform();
        painter.rotate(10.0);
        QVERIFY(!canPaintInStrips(painter));
    }

    // Checks colour and direction of each curve on the view. Larger angles are lower.
    void curvesAreDrawnAtTheirAngles()
    {
        QGraphicsView view;
        view.resize(450, 300);
        RpyPlotter plotter;
        plotter.attach(&view);
        for (int i = 0; i < 600; ++i)
            plotter.addRPY(90.0F, -90.0F, 45.0F);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        plotter.addRPY(90.0F, -90.0F, 45.0F);
        const QImage image = view.grab().toImage();
        // The line is two pixels wide and antialiased, so at least one of three adjacent pixels has
        // its full colour.
        const auto isAt = [&](QRgb color, double sample, double angle) {
            const QPoint onView =
                view.viewport()->mapTo(&view, view.mapFromScene(QPointF(sample, angle)));
            return pixelsOf(image.copy(onView.x(), onView.y() - 1, 1, 3), color) > 0;
        };
        for (const double sample : {300.0, 450.0, 590.0}) {
            QVERIFY(isAt(qRgb(255, 60, 60), sample, 90.0));
            QVERIFY(isAt(qRgb(60, 255, 60), sample, -90.0));
            QVERIFY(isAt(qRgb(60, 90, 255), sample, 45.0));
        }
        QVERIFY(view.mapFromScene(QPointF(0, 90)).y() > view.mapFromScene(QPointF(0, -90)).y());
    }
};

QTEST_MAIN(TestPlotPainting)
#include "test_plot_painting.moc"
