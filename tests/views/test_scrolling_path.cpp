#include "views/scrolling_path.h"

#include <cmath>
#include <limits>
#include <vector>

#include <QTest>

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// Reference: the path built vertex by vertex.
QList<QPointF> line(const std::vector<float> &samples)
{
    QList<QPointF> points;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto x = static_cast<qreal>(i);
        if (std::isfinite(samples[i]))
            points << QPointF(x, static_cast<qreal>(samples[i]));
        else if (i == 0)
            points << QPointF(x, 0.0);
    }
    return points;
}

// Exact comparison, because QPointF compares with a tolerance. The path must also be one line, not
// several.
bool isLine(const QPainterPath &path, const QList<QPointF> &points)
{
    if (path.elementCount() != points.size())
        return false;
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPainterPath::Element element = path.elementAt(i);
        if (element.isMoveTo() != (i == 0) || std::abs(element.x - points[i].x()) > 0.0 ||
            std::abs(element.y - points[i].y()) > 0.0)
            return false;
    }
    return true;
}

// A curve in which no value repeats soon.
float valueAt(int i)
{
    return 100.0F * std::sin(0.37F * static_cast<float>(i)) + 0.001F * static_cast<float>(i);
}

void scroll(std::vector<float> &samples, float newest)
{
    samples.erase(samples.begin());
    samples.push_back(newest);
}

std::vector<float> filled(int history)
{
    std::vector<float> samples;
    for (int i = 0; i < history; ++i)
        samples.push_back(valueAt(i));
    return samples;
}

} // namespace

class TestScrollingPath : public QObject
{
    Q_OBJECT

private slots:
    void pathFollowsTheSamples_data()
    {
        QTest::addColumn<int>("history");
        for (const int history : {2, 10, 63, 64, 65, 66, 128, 129, 600, 1000})
            QTest::addRow("%d", history) << history;
    }

    // The path grows and then scrolls through several times its length.
    void pathFollowsTheSamples()
    {
        QFETCH(int, history);
        ScrollingPath path;
        std::vector<float> samples;
        for (int i = 0; i < 4 * history + 300; ++i) {
            if (i >= history)
                scroll(samples, valueAt(i));
            else
                samples.push_back(valueAt(i));
            QVERIFY2(isLine(path.update(samples), line(samples)), qPrintable(QString::number(i)));
        }
    }

    void constantValues()
    {
        ScrollingPath path;
        std::vector<float> samples(200, 7.0F);
        for (int i = 0; i < 400; ++i) {
            scroll(samples, 7.0F);
            QVERIFY(isLine(path.update(samples), line(samples)));
        }
    }

    // The value scrolls in, through and out. The curve continues after it.
    void valueWithoutVertex_data()
    {
        QTest::addColumn<float>("value");
        QTest::newRow("not a number") << kNan;
        QTest::newRow("infinite") << std::numeric_limits<float>::infinity();
    }

    void valueWithoutVertex()
    {
        QFETCH(float, value);
        ScrollingPath path;
        std::vector<float> samples = filled(150);
        path.update(samples);
        for (int i = 0; i < 500; ++i) {
            scroll(samples, i == 100 || i == 101 || i == 170 ? value : valueAt(i));
            QVERIFY2(isLine(path.update(samples), line(samples)), qPrintable(QString::number(i)));
        }
    }

    void unrelatedSamplesRebuildThePath()
    {
        ScrollingPath path;
        std::vector<float> samples = filled(150);
        for (int i = 0; i < 100; ++i) {
            scroll(samples, valueAt(i));
            path.update(samples);
        }
        samples[75] = -1.0F;
        QVERIFY(isLine(path.update(samples), line(samples)));
        scroll(samples, 1.0F);
        scroll(samples, 2.0F); // two samples at once
        QVERIFY(isLine(path.update(samples), line(samples)));
        samples.resize(20);
        QVERIFY(isLine(path.update(samples), line(samples)));
        scroll(samples, 3.0F);
        QVERIFY(isLine(path.update(samples), line(samples)));
    }

    // A scene keeps the last path that it received, so later updates must not change that path.
    void returnedPathsDoNotChange()
    {
        ScrollingPath path;
        std::vector<float> samples = filled(150);
        path.update(samples);
        scroll(samples, 1.0F);
        const QPainterPath before = path.update(samples);
        const QList<QPointF> expected = line(samples);
        scroll(samples, 2.0F);
        path.update(samples);
        QVERIFY(isLine(before, expected));
    }
};

QTEST_GUILESS_MAIN(TestScrollingPath)
#include "test_scrolling_path.moc"
