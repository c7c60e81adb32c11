#include <cmath>
#include <limits>
#include <memory>

#include <QFont>
#include <QGraphicsView>
#include <QResizeEvent>
#include <QShowEvent>
#include <QSignalSpy>
#include <QTest>
#include <QTranslator>

#include "tests/fixtures/wait_limit.h"
#include "tests/views/plot_scene.h"
#include "views/rpy_plotter.h"

using namespace Qt::StringLiterals;

namespace {

QList<QPointF> vertices(const QPainterPath &path)
{
    QList<QPointF> points;
    for (int i = 0; i < path.elementCount(); ++i) {
        if (path.elementAt(i).isMoveTo() != (i == 0))
            qFatal("not one line");
        points << QPointF(path.elementAt(i));
    }
    return points;
}

void fill(RpyPlotter &plotter, int count, float roll = 0.0F, float pitch = 0.0F, float yaw = 0.0F)
{
    for (int i = 0; i < count; ++i)
        plotter.addRPY(roll, pitch, yaw);
}

// The lines of a grid path as "x 10" and "y -20".
QStringList lines(const QGraphicsPathItem *item)
{
    QStringList texts;
    const QPainterPath path = item->path();
    for (int i = 0; i + 1 < path.elementCount(); i += 2) {
        const QPointF from = path.elementAt(i);
        const QPointF to = path.elementAt(i + 1);
        texts << (from.x() == to.x() ? u"x %1"_s.arg(from.x()) : u"y %1"_s.arg(from.y()));
    }
    return texts;
}

} // namespace

class TestRpyPlotter : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QGraphicsView> m_view;
    std::unique_ptr<RpyPlotter> m_plotter;

    PlotScene scene() const { return PlotScene::of(*m_plotter->scene()); }
    QRectF sceneRect() const { return m_plotter->scene()->sceneRect(); }

    QStringList valueTexts() const
    {
        const PlotScene plot = scene();
        return {plot.values[0]->text(), plot.values[1]->text(), plot.values[2]->text()};
    }

private slots:
    void init()
    {
        m_view = std::make_unique<QGraphicsView>();
        m_view->resize(450, 300);
        m_plotter = std::make_unique<RpyPlotter>();
        m_plotter->attach(m_view.get());
    }

    void cleanup()
    {
        m_plotter.reset();
        m_view.reset();
    }

    void preparesTheView()
    {
        QCOMPARE(m_view->scene(), m_plotter->scene());
        QCOMPARE(m_view->backgroundBrush(), QBrush(QColor(16, 16, 20)));
        QVERIFY(m_view->renderHints().testFlag(QPainter::Antialiasing));
        QVERIFY(m_view->renderHints().testFlag(QPainter::TextAntialiasing));
        QCOMPARE(m_view->viewportUpdateMode(), QGraphicsView::FullViewportUpdate);
        QCOMPARE(m_view->alignment(), Qt::AlignLeft | Qt::AlignTop);
    }

    void pensAndBrushes()
    {
        const PlotScene plot = scene();
        const auto checkHairline = [](const QPen &pen, const QColor &color) {
            QCOMPARE(pen.color(), color);
            QCOMPARE(pen.widthF(), 1.0);
            QVERIFY(pen.isCosmetic());
            QCOMPARE(pen.style(), Qt::SolidLine);
        };
        checkHairline(plot.minorGrid->pen(), QColor(60, 60, 70));
        checkHairline(plot.majorGrid->pen(), QColor(95, 95, 110));
        checkHairline(plot.frame->pen(), QColor(110, 110, 125));
        checkHairline(plot.background->pen(), QColor(120, 120, 140, 200));
        QCOMPARE(plot.frame->brush().style(), Qt::NoBrush);
        QCOMPARE(plot.background->brush(), QBrush(QColor(30, 30, 40, 180)));

        const QColor colors[] = {{255, 60, 60}, {60, 255, 60}, {60, 90, 255}};
        for (int i = 0; i < 3; ++i) {
            for (const QPen &pen : {plot.series[i]->pen(), plot.swatches[i]->pen()}) {
                QCOMPARE(pen.color(), colors[i]);
                QVERIFY(pen.isCosmetic());
                QCOMPARE(pen.style(), Qt::SolidLine);
                QCOMPARE(pen.capStyle(), Qt::SquareCap);
                QCOMPARE(pen.joinStyle(), Qt::BevelJoin);
            }
            QCOMPARE(plot.series[i]->pen().widthF(), 2.0);
            QCOMPARE(plot.swatches[i]->pen().widthF(), 3.0);
            QCOMPARE(plot.series[i]->brush().style(), Qt::NoBrush);
            QCOMPARE(plot.labels[i]->brush(), QBrush(QColor(220, 220, 230)));
            QCOMPARE(plot.values[i]->brush(), QBrush(QColor(230, 230, 240)));
        }
    }

    void legend()
    {
        const PlotScene plot = scene();
        QCOMPARE(plot.legend->zValue(), 1e6);
        QVERIFY(plot.legend->flags().testFlag(QGraphicsItem::ItemIgnoresTransformations));
        for (const QGraphicsItem *item : plot.legend->childItems())
            QVERIFY(item->flags().testFlag(QGraphicsItem::ItemIgnoresTransformations));

        const QString names[] = {u"Roll:"_s, u"Pitch:"_s, u"Yaw:"_s};
        for (int i = 0; i < 3; ++i) {
            const qreal y = 4.0 + 16.0 * i;
            QCOMPARE(plot.swatches[i]->line(), QLineF(0, y + 9, 28, y + 9));
            QCOMPARE(plot.swatches[i]->pos(), QPointF());
            QCOMPARE(plot.labels[i]->text(), names[i]);
            QCOMPARE(plot.labels[i]->pos(), QPointF(36, y));
            QCOMPARE(plot.values[i]->text(), u"0.0°"_s);
            QCOMPARE(plot.values[i]->pos(), QPointF(100, y));
            for (const QFont &font : {plot.labels[i]->font(), plot.values[i]->font()}) {
                QCOMPARE(font.pointSize(), 10);
                QCOMPARE(font.weight(), 700);
                QCOMPARE(font.family(), QFont().family());
            }
        }
        // No legend entry overlaps the next, and no label overlaps its value.
        for (int i = 0; i < 3; ++i)
            QVERIFY(36 + plot.labels[i]->boundingRect().width() < 100);
    }

    void legendPanelSurroundsItsEntries()
    {
        const PlotScene plot = scene();
        QRectF entries(0, 0, 0, 0);
        entries.adjust(-0.5, -0.5, 0.5, 0.5); // the bounds of the empty panel
        for (int i = 0; i < 3; ++i) {
            entries |= plot.swatches[i]->boundingRect();
            entries |= plot.labels[i]->boundingRect().translated(plot.labels[i]->pos());
            entries |= plot.values[i]->boundingRect().translated(plot.values[i]->pos());
        }
        QCOMPARE(plot.background->rect(), entries.adjusted(-8, -6, 8, 6));
    }

    void legendFollowsTheLanguage()
    {
        class Longer : public QTranslator
        {
        public:
            bool isEmpty() const override { return false; }
            QString translate(const char *context, const char *text, const char *,
                              int) const override
            {
                return QLatin1String(context) == "RpyPlotter"_L1
                           ? u"A much longer "_s + QString::fromUtf8(text)
                           : QString();
            }
        } longer;
        const PlotScene plot = scene();
        const QRectF panel = plot.background->rect();

        QCoreApplication::installTranslator(&longer);
        QTRY_COMPARE(plot.labels[1]->text(), u"A much longer Pitch:"_s);
        const qreal valueX = plot.values[1]->x();
        QCOMPARE(plot.labels[0]->text(), u"A much longer Roll:"_s);
        QCOMPARE(plot.labels[2]->text(), u"A much longer Yaw:"_s);
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(plot.values[i]->x(), valueX);
            QVERIFY(36 + plot.labels[i]->boundingRect().width() < valueX);
        }
        QCOMPARE(plot.background->rect(), panel.adjusted(0, 0, valueX - 100, 0));

        QCoreApplication::removeTranslator(&longer);
        QTRY_COMPARE(plot.labels[1]->text(), u"Pitch:"_s);
        QCOMPARE(plot.values[1]->x(), 100.0);
        QCOMPARE(plot.background->rect(), panel);
    }

    void beforeTheFirstSample()
    {
        const PlotScene plot = scene();
        QCOMPARE(sceneRect(), QRectF(0, -10, 599, 20));
        QCOMPARE(plot.frame->rect(), sceneRect());
        for (const QGraphicsPathItem *item : plot.series)
            QCOMPARE(item->path().elementCount(), 0);
        QCOMPARE(plot.legend->pos(), QPointF(10, 0));
        QCOMPARE(lines(plot.majorGrid), (QStringList{u"x 0"_s, u"x 100"_s, u"x 200"_s, u"x 300"_s,
                                                     u"x 400"_s, u"x 500"_s, u"y 0"_s}));
        QCOMPARE(lines(plot.minorGrid).size(), 54 + 2);
        QVERIFY(lines(plot.minorGrid).endsWith(u"y 10"_s));
    }

    void firstSample()
    {
        m_plotter->addRPY(1.5F, -2.26F, 3.04F);
        const PlotScene plot = scene();
        QCOMPARE(vertices(plot.series[0]->path()), (QList<QPointF>{{0, 1.5}}));
        QCOMPARE(vertices(plot.series[1]->path()),
                 (QList<QPointF>{{0, static_cast<double>(-2.26F)}}));
        QCOMPARE(vertices(plot.series[2]->path()),
                 (QList<QPointF>{{0, static_cast<double>(3.04F)}}));
        QCOMPARE(valueTexts(), (QStringList{u"1.5°"_s, u"-2.3°"_s, u"3.0°"_s}));
        QCOMPARE(sceneRect(), QRectF(0, -11, 599, 22));
        QCOMPARE(plot.frame->rect(), sceneRect());
        QCOMPARE(plot.legend->pos(), QPointF(10, -1));
    }

    void everySampleIsAVertex()
    {
        for (int i = 0; i < 250; ++i)
            m_plotter->addRPY(static_cast<float>(i % 7), static_cast<float>(-i), 0.5F);
        const PlotScene plot = scene();
        const QList<QPointF> pitch = vertices(plot.series[1]->path());
        QCOMPARE(pitch.size(), 250);
        for (int i = 0; i < 250; ++i) {
            const double wrapped = i < 180 ? -i : -i + 360; // unwrapped against 0 while filling
            QCOMPARE(pitch[i], QPointF(i, wrapped));
        }
        QCOMPARE(vertices(plot.series[0]->path()).last(), QPointF(249, 249 % 7));
    }

    void sampleAfterTheLastSlotScrolls()
    {
        for (int i = 1; i <= 600; ++i)
            m_plotter->addRPY(static_cast<float>(i) / 100, 0.0F, 0.0F);
        QCOMPARE(vertices(scene().series[0]->path()).size(), 600);
        QCOMPARE(vertices(scene().series[0]->path()).first(),
                 QPointF(0, static_cast<double>(0.01F)));

        m_plotter->addRPY(7.0F, 0.0F, 0.0F);
        const QList<QPointF> roll = vertices(scene().series[0]->path());
        QCOMPARE(roll.size(), 600);
        QCOMPARE(roll.first(), QPointF(0, static_cast<double>(0.02F)));
        QCOMPARE(roll[598], QPointF(598, 6.0));
        QCOMPARE(roll.last(), QPointF(599, 7.0));
        QCOMPARE(sceneRect().width(), 599.0);
    }

    void halfTurnsFlipWhileFilling()
    {
        m_plotter->addRPY(180.0F, -180.0F, 179.5F);
        QCOMPARE(valueTexts(), (QStringList{u"-180.0°"_s, u"180.0°"_s, u"179.5°"_s}));
        m_plotter->addRPY(-179.0F, 0.0F, 0.0F); // unwrapped against 0, not the last sample
        QCOMPARE(vertices(scene().series[0]->path()), (QList<QPointF>{{0, -180}, {1, -179}}));
    }

    void unwrapsPastHalfATurnOnceFull()
    {
        fill(*m_plotter, 599);
        m_plotter->addRPY(179.0F, 0.0F, 0.0F);
        m_plotter->addRPY(-179.0F, 0.0F, 0.0F);
        const PlotScene plot = scene();
        QCOMPARE(vertices(plot.series[0]->path()).last(), QPointF(599, 181));
        QCOMPARE(plot.values[0]->text(), u"181.0°"_s);
        QCOMPARE(static_cast<float>(sceneRect().top()), -1.1F * 181.0F);
        QCOMPARE(static_cast<float>(sceneRect().bottom()), 1.1F * 181.0F);
    }

    void rangeFollowsTheLargestOfAll()
    {
        m_plotter->addRPY(3.0F, -100.0F, 9.0F);
        QCOMPARE(sceneRect().top(), static_cast<double>(-1.1F * 100.0F));
        m_plotter->addRPY(3.0F, 0.0F, 120.0F);
        QCOMPARE(sceneRect().top(), static_cast<double>(-1.1F * 120.0F));
        // s = 264 / 12 = 22, so there is a line every 20 degrees.
        const PlotScene plot = scene();
        QVERIFY(lines(plot.majorGrid).endsWith(u"y 120"_s));
        QVERIFY(lines(plot.majorGrid).contains(u"y -120"_s));
        QVERIFY(lines(plot.majorGrid).contains(u"y 0"_s));
        QVERIFY(lines(plot.minorGrid).contains(u"y 100"_s));
        QVERIFY(!lines(plot.minorGrid).contains(u"y 110"_s));
        QCOMPARE(plot.legend->pos(), sceneRect().topLeft() + QPointF(10, 10));
    }

    void rangeShrinksWhenTheLargestHasScrolledOut()
    {
        m_plotter->setHistory(10);
        m_plotter->addRPY(100.0F, 0.0F, 0.0F);
        fill(*m_plotter, 9, 1.0F);
        QVERIFY(sceneRect().top() < -100);
        m_plotter->addRPY(1.0F, 0.0F, 0.0F);
        QCOMPARE(sceneRect(), QRectF(0, -11, 9, 22));
    }

    void notANumberPassesThrough()
    {
        m_plotter->addRPY(1.0F, 2.0F, 3.0F);
        m_plotter->addRPY(1.0F, NAN, 3.0F);
        m_plotter->addRPY(1.0F, 2.0F, 3.0F);
        const PlotScene plot = scene();
        QCOMPARE(vertices(plot.series[1]->path()), (QList<QPointF>{{0, 2}, {2, 2}}));
        QCOMPARE(vertices(plot.series[0]->path()).size(), 3);
        QCOMPARE(sceneRect(), QRectF(0, -11, 599, 22));
        m_plotter->addRPY(1.0F, NAN, 3.0F);
        QCOMPARE(plot.values[1]->text(), u"nan°"_s);
        QCOMPARE(plot.values[0]->text(), u"1.0°"_s);
    }

    void notANumberInFrontCountsAsZero()
    {
        m_plotter->addRPY(1.0F, NAN, 3.0F);
        m_plotter->addRPY(1.0F, 2.0F, 3.0F);
        QCOMPARE(vertices(scene().series[1]->path()), (QList<QPointF>{{0, 0}, {1, 2}}));
    }

    void infiniteAnglesDoNotHang()
    {
        m_plotter->addRPY(std::numeric_limits<float>::infinity(), 0.0F, 0.0F);
        m_plotter->addRPY(1e30F, 0.0F, 0.0F);
        m_view->grab();
        QCOMPARE(vertices(scene().series[2]->path()).size(), 2);
    }

    void quaternionsAreTakenScalarLast()
    {
        m_plotter->addQuaternion(0.0381345765F, 0.1893079218F, 0.2392983377F, 0.9515485246F);
        QCOMPARE(valueTexts(), (QStringList{u"10.0°"_s, u"20.0°"_s, u"30.0°"_s}));
        m_plotter->addQuaternion(0.0F, 0.0F, 5.0F, 5.0F);
        QCOMPARE(valueTexts(), (QStringList{u"0.0°"_s, u"0.0°"_s, u"90.0°"_s}));
    }

    void nullQuaternionIsNoSample()
    {
        m_plotter->addRPY(5.0F, 0.0F, 0.0F);
        m_plotter->addQuaternion(0.0F, -0.0F, 0.0F, 0.0F);
        QCOMPARE(vertices(scene().series[0]->path()).size(), 1);
        QCOMPARE(valueTexts().first(), u"5.0°"_s);
        m_plotter->addQuaternion(0.0F, 0.0F, 0.0F, 1e-3F);
        QCOMPARE(vertices(scene().series[0]->path()).size(), 2);
    }

    // The sine of this pitch rounds past 1. The sample is still plotted.
    void pitchLostToRoundingStillPlots()
    {
        for (int i = 0; i < 360; ++i) {
            const float half = static_cast<float>(i) * 0.00872664626F;
            const float c = std::cos(half) * 0.70710678F;
            const float s = std::sin(half) * 0.70710678F;
            m_plotter->addQuaternion(-s, c, s, c); // pitch 90, yaw i
        }
        const PlotScene plot = scene();
        const auto pitch = vertices(plot.series[1]->path());
        QVERIFY(pitch.size() < 360);
        QVERIFY(pitch.size() > 1);
        QCOMPARE(vertices(plot.series[0]->path()).size(), 360);
    }

    void historyHasAMinimumLength_data()
    {
        QTest::addColumn<int>("asked");
        QTest::addColumn<double>("width");
        QTest::newRow("3") << 3 << 9.0;
        QTest::newRow("0") << 0 << 9.0;
        QTest::newRow("-600") << -600 << 9.0;
        QTest::newRow("10") << 10 << 9.0;
        QTest::newRow("11") << 11 << 10.0;
        QTest::newRow("1000") << 1000 << 999.0;
    }

    void historyHasAMinimumLength()
    {
        QFETCH(int, asked);
        m_plotter->addRPY(100.0F, 0.0F, 0.0F);
        const QRectF before = sceneRect();
        m_plotter->setHistory(asked);
        const PlotScene plot = scene();
        QTEST(sceneRect().width(), "width");
        QCOMPARE(sceneRect().top(), before.top()); // the range stays until the next sample
        QCOMPARE(sceneRect().height(), before.height());
        QCOMPARE(plot.series[0]->path().elementCount(), 0);
        QCOMPARE(plot.values[0]->text(), u"100.0°"_s);
        QCOMPARE(plot.frame->rect(), sceneRect());
        QVERIFY(lines(plot.majorGrid).contains(u"y 80"_s) ||
                lines(plot.minorGrid).contains(u"y 80"_s));

        m_plotter->addRPY(1.0F, 0.0F, 0.0F);
        QCOMPARE(sceneRect().height(), 22.0);
        QCOMPARE(vertices(scene().series[0]->path()), (QList<QPointF>{{0, 1}}));
    }

    void clearKeepsHistoryAndRange()
    {
        m_plotter->setHistory(50);
        fill(*m_plotter, 60, 100.0F);
        m_plotter->clear();
        QCOMPARE(scene().series[0]->path().elementCount(), 0);
        QCOMPARE(sceneRect(), QRectF(0, static_cast<double>(-1.1F * 100.0F), 49,
                                     static_cast<double>(2.0F * 1.1F * 100.0F)));
        m_plotter->addRPY(-179.0F, 0.0F, 0.0F); // no previous sample to unwrap against
        QCOMPARE(vertices(scene().series[0]->path()), (QList<QPointF>{{0, -179}}));
    }

    void worksWithoutAView()
    {
        RpyPlotter plotter;
        QVERIFY(!plotter.scene());
        plotter.addRPY(1.0F, 2.0F, 3.0F);
        QVERIFY(plotter.scene());
        const PlotScene plot = PlotScene::of(*plotter.scene());
        QCOMPARE(plot.values[0]->text(), u"0.0°"_s); // created after the sample arrived
        plotter.addRPY(1.0F, 2.0F, 3.0F);
        QCOMPARE(plot.values[0]->text(), u"1.0°"_s);
        QCOMPARE(vertices(plot.series[2]->path()).size(), 2);
        plotter.setHistory(20);
        plotter.clear();

        QGraphicsView late;
        plotter.attach(&late);
        QCOMPARE(late.scene(), plotter.scene());
        QCOMPARE(PlotScene::of(*plotter.scene()).series[0], plot.series[0]);
    }

    void itemsAreBuiltOnce()
    {
        const QList<QGraphicsItem *> before = m_plotter->scene()->items(Qt::AscendingOrder);
        fill(*m_plotter, 700, 50.0F);
        m_plotter->setHistory(100);
        m_plotter->clear();
        m_plotter->attach(m_view.get());
        QCOMPARE(m_plotter->scene()->items(Qt::AscendingOrder), before);
    }

    void viewCanBeDestroyedFirst()
    {
        fill(*m_plotter, 5);
        m_view.reset();
        fill(*m_plotter, 5);
        m_plotter->clear();
        QCOMPARE(scene().series[0]->path().elementCount(), 0);
    }

    void plotterCanBeDestroyedFirst()
    {
        m_view->show();
        fill(*m_plotter, 5);
        m_plotter.reset();
        QVERIFY(!m_view->scene());
        QCOMPARE(m_view->viewportUpdateMode(), QGraphicsView::FullViewportUpdate);
        QCoreApplication::processEvents();
    }

    void plotFillsTheView()
    {
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get(), kWaitLimitMs));
        const auto isFitted = [&] {
            const QRectF onView = m_view->viewportTransform().mapRect(sceneRect());
            const QSizeF size = m_view->viewport()->size();
            return onView.left() >= 0 && onView.top() >= 0 && onView.left() <= 4 &&
                   onView.top() <= 4 && std::abs(onView.width() - size.width()) <= 4.5 &&
                   std::abs(onView.height() - size.height()) <= 4.5;
        };
        QVERIFY(isFitted()); // before the first sample
        m_plotter->addRPY(5.0F, 0.0F, 0.0F);
        QVERIFY(isFitted());
        m_plotter->addRPY(150.0F, 0.0F, 0.0F); // another range
        QVERIFY(isFitted());
        m_plotter->setHistory(77);
        QVERIFY(isFitted());
        m_view->resize(700, 200); // fitted at once, without a sample
        QTRY_COMPARE(m_view->viewport()->width(), 700 - 2 * m_view->frameWidth());
        QVERIFY(isFitted());
        m_plotter->addRPY(1.0F, 0.0F, 0.0F);
        QVERIFY(isFitted());
        m_view->scale(3.0, 0.5); // the view is scaled by other code
        QVERIFY(!isFitted());
        m_plotter->addRPY(1.0F, 0.0F, 0.0F);
        QVERIFY(isFitted());
    }

    void eventFilterPlacesTheLegendAndConsumesNothing()
    {
        const PlotScene plot = scene();
        QResizeEvent resize(QSize(10, 10), QSize(20, 20));
        QShowEvent show;
        QEvent other(QEvent::FontChange);
        for (QEvent *event : {static_cast<QEvent *>(&resize), static_cast<QEvent *>(&show)}) {
            plot.legend->setPos(1, 2);
            QVERIFY(!m_plotter->eventFilter(m_view.get(), event));
            QCOMPARE(plot.legend->pos(), QPointF(10, 0));
        }
        plot.legend->setPos(1, 2);
        QVERIFY(!m_plotter->eventFilter(m_view.get(), &other));
        QCOMPARE(plot.legend->pos(), QPointF(1, 2));

        QObject stranger;
        QVERIFY(!m_plotter->eventFilter(&stranger, &resize));
        QCOMPARE(plot.legend->pos(), QPointF(1, 2));

        QCoreApplication::sendEvent(m_view.get(), &resize); // the filter is installed
        QCOMPARE(plot.legend->pos(), QPointF(10, 0));
    }

    void slotsAreCallableByName()
    {
        const QMetaObject *meta = m_plotter->metaObject();
        QCOMPARE(meta->methodCount() - meta->methodOffset(), 2);
        QCOMPARE(meta->method(meta->methodOffset()).methodSignature(),
                 QByteArray("addQuaternion(float,float,float,float)"));
        QCOMPARE(meta->method(meta->methodOffset() + 1).methodSignature(),
                 QByteArray("addRPY(float,float,float)"));
        QCOMPARE(meta->method(meta->methodOffset()).parameterNames(),
                 (QList<QByteArray>{"w", "x", "y", "z"}));
    }
};

QTEST_MAIN(TestRpyPlotter)
#include "test_rpy_plotter.moc"
