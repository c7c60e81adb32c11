#include <limits>

#include <QTest>

#include "views/plot_grid.h"

namespace {

struct Lines
{
    QList<qreal> vertical;   // x of each
    QList<qreal> horizontal; // y of each
};

// Splits a grid path into its lines. Every line must span the whole range.
Lines linesOf(const QPainterPath &path, const PlotRange &range)
{
    Lines lines;
    for (int i = 0; i + 1 < path.elementCount(); i += 2) {
        const auto from = path.elementAt(i);
        const auto to = path.elementAt(i + 1);
        if (!from.isMoveTo() || !to.isLineTo())
            qFatal("not a list of lines");
        if (from.x == to.x && from.y == static_cast<qreal>(range.yMin) &&
            to.y == static_cast<qreal>(range.yMax))
            lines.vertical << from.x;
        else if (from.y == to.y && from.x == 0.0 && to.x == range.history - 1)
            lines.horizontal << from.y;
        else
            qFatal("a line that does not span the range");
    }
    return lines;
}

} // namespace

class TestPlotGrid : public QObject
{
    Q_OBJECT

private slots:
    void steps_data()
    {
        QTest::addColumn<float>("reach");
        QTest::addColumn<int>("step");

        QTest::newRow("smallest") << 10.0F << 10;
        QTest::newRow("a twelfth of 10") << 60.0F << 10;
        QTest::newRow("a twelfth of 10.x") << 60.5F << 10;
        QTest::newRow("a twelfth of 19.9") << 119.4F << 10;
        QTest::newRow("a twelfth of 20") << 120.0F << 20;
        QTest::newRow("half a turn") << 198.0F << 30;
        QTest::newRow("many turns") << 3960.0F << 660;
    }

    void steps()
    {
        QFETCH(float, reach);
        QTEST(horizontalStep(-reach, reach), "step");
    }

    void smallGrid()
    {
        const PlotRange range{25, -11.0F, 11.0F};
        const PlotGrid grid = plotGrid(range);
        const Lines minor = linesOf(grid.minor, range);
        const Lines major = linesOf(grid.major, range);
        QCOMPARE(major.vertical, (QList<qreal>{0}));
        QCOMPARE(minor.vertical, (QList<qreal>{10, 20}));
        QCOMPARE(major.horizontal, (QList<qreal>{0}));
        QCOMPARE(minor.horizontal, (QList<qreal>{-10, 10}));
    }

    void everyHundredthSampleIsMajor()
    {
        const PlotRange range{600, -11.0F, 11.0F};
        const PlotGrid grid = plotGrid(range);
        QCOMPARE(linesOf(grid.major, range).vertical, (QList<qreal>{0, 100, 200, 300, 400, 500}));
        QCOMPARE(linesOf(grid.minor, range).vertical.size(), 54);
    }

    void lastColumnIsExclusive()
    {
        const PlotRange range{10, -10.0F, 10.0F};
        const PlotGrid grid = plotGrid(range);
        QCOMPARE(linesOf(grid.major, range).vertical, (QList<qreal>{0}));
        QVERIFY(linesOf(grid.minor, range).vertical.isEmpty());
        // The edges of the range are lines as well.
        QCOMPARE(linesOf(grid.minor, range).horizontal, (QList<qreal>{-10, 10}));
    }

    void everySecondStepIsMajor()
    {
        const PlotRange range{10, -198.0F, 198.0F};
        const PlotGrid grid = plotGrid(range);
        QCOMPARE(linesOf(grid.major, range).horizontal,
                 (QList<qreal>{-180, -120, -60, 0, 60, 120, 180}));
        QCOMPARE(linesOf(grid.minor, range).horizontal,
                 (QList<qreal>{-150, -90, -30, 30, 90, 150}));
    }

    void rect()
    {
        QCOMPARE((PlotRange{600, -11.0F, 11.0F}.rect()), QRectF(0, -11, 599, 22));
        QCOMPARE((PlotRange{1, -10.0F, 10.0F}.rect()), QRectF(0, -10, 1, 20));
    }

    // Extreme values from a faulty device must not block the window.
    void extremeRangesEnd()
    {
        for (const float reach : {1e8F, 3e9F, 1e30F, std::numeric_limits<float>::infinity(),
                                  std::numeric_limits<float>::quiet_NaN()}) {
            const PlotGrid grid = plotGrid({600, -reach, reach});
            QVERIFY(grid.minor.elementCount() + grid.major.elementCount() <= 2 * (60 + 14));
        }
    }
};

QTEST_APPLESS_MAIN(TestPlotGrid)
#include "test_plot_grid.moc"
