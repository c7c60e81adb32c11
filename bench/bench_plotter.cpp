// What a sample costs the plot: three figures, each beside the least a painter of the same three
// curves can do, in turn, so that a busy machine slows both. CPU time of this process.
//
//     bench_plotter [update|paint|live]...      (default: all three)
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QGraphicsView>
#include <QPainter>
#include <QTimer>
#include <QWidget>

#include "views/rpyplotter.h"

namespace {

constexpr int kHistory = 600;
constexpr int kRuns = 7;
constexpr QSize kViewSize(800, 400);
constexpr int kUpdates = 3000;
constexpr int kPaints = 300;
constexpr qint64 kLiveMs = 5000;

double cpuSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// A body in motion: three sines, so that every sample moves the whole curve.
class Motion
{
public:
    std::array<float, 3> next()
    {
        const double t = 0.01 * static_cast<double>(m_step++);
        return {static_cast<float>(60.0 * std::sin(t)),
                static_cast<float>(40.0 * std::sin(1.3 * t + 1.0) + 5.0 * std::sin(17.0 * t)),
                static_cast<float>(170.0 * std::sin(0.31 * t))};
    }

    // The same attitude as the plotter takes it: x, y, z, scalar.
    std::array<float, 4> nextQuaternion()
    {
        std::array<float, 3> halves = next();
        for (float &angle : halves)
            angle *= static_cast<float>(M_PI / 360.0);
        const float cr = std::cos(halves[0]), sr = std::sin(halves[0]);
        const float cp = std::cos(halves[1]), sp = std::sin(halves[1]);
        const float cy = std::cos(halves[2]), sy = std::sin(halves[2]);
        return {sr * cp * cy - cr * sp * sy, cr * sp * cy + sr * cp * sy,
                cr * cp * sy - sr * sp * cy, cr * cp * cy + sr * sp * sy};
    }

private:
    long m_step = 0;
};

// The floor under any plot of these curves: no scene, no legend, no conversion of quaternions.
class BarePlot : public QWidget
{
public:
    BarePlot()
    {
        setAttribute(Qt::WA_OpaquePaintEvent);
        for (QPolygonF &curve : m_curves)
            curve.fill(QPointF(), kHistory);
    }

    void addSample()
    {
        const std::array<float, 3> angles = m_motion.next();
        const double xScale = width() / (kHistory - 1.0);
        for (std::size_t s = 0; s < m_curves.size(); ++s) {
            QPolygonF &curve = m_curves[s];
            for (int i = 0; i + 1 < kHistory; ++i)
                curve[i] = QPointF(i * xScale, curve[i + 1].y());
            curve.back() =
                QPointF(width(), (0.5 + static_cast<double>(angles[s]) / 374.0) * height());
        }
    }

protected:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(16, 16, 20));
        painter.setRenderHint(QPainter::Antialiasing);
        paintGrid(painter);
        const std::array colors{QColor(255, 60, 60), QColor(60, 255, 60), QColor(60, 90, 255)};
        for (std::size_t s = 0; s < m_curves.size(); ++s) {
            painter.setPen(QPen(colors[s], 2.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
            painter.drawPolyline(m_curves[s]);
        }
    }

private:
    void paintGrid(QPainter &painter) const
    {
        QList<QLineF> lines;
        for (int x = 0; x < kHistory; x += 10)
            lines << QLineF(x * width() / (kHistory - 1.0), 0, x * width() / (kHistory - 1.0),
                            height());
        for (int i = 0; i < 13; ++i)
            lines << QLineF(0, i * height() / 12.0, width(), i * height() / 12.0);
        painter.setPen(QColor(60, 60, 70));
        painter.drawLines(lines);
    }

    Motion m_motion;
    std::array<QPolygonF, 3> m_curves;
};

class Plot
{
public:
    Plot()
    {
        m_view.resize(kViewSize);
        m_plotter.attach(&m_view);
        for (int i = 0; i < kHistory; ++i)
            addSample();
    }

    void addSample()
    {
        const std::array<float, 4> q = m_motion.nextQuaternion();
        m_plotter.addQuaternion(q[0], q[1], q[2], q[3]);
    }

    QGraphicsView &view() { return m_view; }

private:
    Motion m_motion;
    QGraphicsView m_view;
    RpyPlotter m_plotter;
};

void runEventsFor(int milliseconds)
{
    QElapsedTimer time;
    time.start();
    while (time.elapsed() < milliseconds)
        QApplication::processEvents(QEventLoop::AllEvents, 10);
}

double microsecondsEach(int count, const std::function<void()> &work)
{
    const double before = cpuSeconds();
    for (int i = 0; i < count; ++i)
        work();
    return (cpuSeconds() - before) / count * 1e6;
}

void benchUpdate(Plot &plot, BarePlot &bare)
{
    std::vector<double> plotUs, bareUs;
    for (int run = 0; run < kRuns; ++run) {
        plotUs.push_back(microsecondsEach(kUpdates, [&] { plot.addSample(); }));
        bareUs.push_back(microsecondsEach(kUpdates, [&] { bare.addSample(); }));
        runEventsFor(50);
    }
    std::printf("update  %8.2f us a sample, not painted   (bare %8.2f us, ratio %.2f)\n",
                median(plotUs), median(bareUs), median(plotUs) / median(bareUs));
}

class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget *widget) { widget->installEventFilter(this); }
    int paints() const { return m_paints; }

    bool eventFilter(QObject * /*watched*/, QEvent *event) override
    {
        m_paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }

private:
    int m_paints = 0;
};

// One sample, one frame: runs the event loop until the frame is there.
double frameMicroseconds(QWidget &painted, const PaintCounter &counter,
                         const std::function<void()> &addSample)
{
    return microsecondsEach(kPaints, [&] {
        const int before = counter.paints();
        addSample();
        painted.update(); // every frame now, whatever the plot's own pace
        while (counter.paints() == before)
            QApplication::processEvents();
    });
}

void benchPaint(Plot &plot, BarePlot &bare)
{
    const PaintCounter plotPaints(plot.view().viewport());
    const PaintCounter barePaints(&bare);
    std::vector<double> plotUs, bareUs;
    for (int run = 0; run < kRuns; ++run) {
        plotUs.push_back(
            frameMicroseconds(*plot.view().viewport(), plotPaints, [&] { plot.addSample(); }));
        bareUs.push_back(frameMicroseconds(bare, barePaints, [&] { bare.addSample(); }));
    }
    std::printf("paint   %8.2f us a sample and repaint    (bare %8.2f us, ratio %.2f; "
                "%d and %d frames)\n",
                median(plotUs), median(bareUs), median(plotUs) / median(bareUs),
                plotPaints.paints(), barePaints.paints());
}

// 1000 samples a second, one an event as the driver delivers them; CPU share of one core.
double liveShare(const std::function<void()> &addSample)
{
    QElapsedTimer time;
    time.start();
    qint64 done = 0;
    QEventLoop loop; // not QApplication::exec(): leaving that closes the windows
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        for (const qint64 due = time.nsecsElapsed() / 1000000; done < due; ++done)
            addSample();
        if (time.elapsed() >= kLiveMs)
            loop.quit();
    });
    const double before = cpuSeconds();
    tick.start(1);
    loop.exec();
    return (cpuSeconds() - before) / (static_cast<double>(time.nsecsElapsed()) * 1e-9) * 100.0;
}

void benchLive(Plot &plot, BarePlot &bare)
{
    const PaintCounter counter(plot.view().viewport());
    const double plotShare = liveShare([&] { plot.addSample(); });
    const int paints = counter.paints();

    const PaintCounter bareCounter(&bare);
    QTimer frames;
    frames.setTimerType(Qt::PreciseTimer);
    QObject::connect(&frames, &QTimer::timeout, &bare, [&] { bare.update(); });
    frames.start(16);
    const double bareShare = liveShare([&] { bare.addSample(); });
    std::printf("live    %8.2f %% of a core at 1000 samples/s, %lld frames/s"
                "   (bare %.2f %% %d, ratio %.2f)\n",
                plotShare, paints * 1000LL / kLiveMs, bareShare, bareCounter.paints(),
                plotShare / bareShare);
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QStringList wanted = QApplication::arguments().mid(1);
    if (wanted.isEmpty())
        wanted = {QStringLiteral("update"), QStringLiteral("paint"), QStringLiteral("live")};

    Plot plot;
    BarePlot bare;
    bare.resize(kViewSize);
    plot.view().show();
    bare.show();
    runEventsFor(300);

    for (const QString &name : wanted) {
        if (name == QLatin1String("update"))
            benchUpdate(plot, bare);
        else if (name == QLatin1String("paint"))
            benchPaint(plot, bare);
        else if (name == QLatin1String("live"))
            benchLive(plot, bare);
        std::fflush(stdout);
    }
    return 0;
}
