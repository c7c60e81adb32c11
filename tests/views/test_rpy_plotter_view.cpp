#include <cmath>

#include <QFont>
#include <QResizeEvent>
#include <QShowEvent>
#include <QTest>
#include <QTranslator>

#include "tests/fixtures/wait_limit.h"
#include "tests/views/plotter_fixture.h"

using namespace Qt::StringLiterals;

// The appearance of the plot, and the view that shows it.
class TestRpyPlotterView : public QObject, private PlotterFixture
{
    Q_OBJECT

private slots:
    void init() { create(); }
    void cleanup() { destroy(); }

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
};

QTEST_MAIN(TestRpyPlotterView)
#include "test_rpy_plotter_view.moc"
