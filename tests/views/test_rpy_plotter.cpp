#include <cmath>
#include <limits>

#include <QTest>

#include "tests/views/plotter_fixture.h"

using namespace Qt::StringLiterals;

namespace {

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

// Which samples the plot shows, and in which range.
class TestRpyPlotter : public QObject, private PlotterFixture
{
    Q_OBJECT

    QStringList valueTexts() const
    {
        const PlotScene plot = scene();
        return {plot.values[0]->text(), plot.values[1]->text(), plot.values[2]->text()};
    }

private slots:
    void init() { create(); }
    void cleanup() { destroy(); }

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
