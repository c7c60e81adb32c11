// Measures the cost of a sample in the plot: three figures, as CPU time of this process. The plot
// is compared in turn with QCustomPlot, if available at build time, with the same curves, grid,
// legend and pens, and with a minimal widget that draws curves and grid in one paint event.
//
//     bench_plotter [update|paint|live]... [runs]      (default: all three, 7 runs; live: 5 s each)
//
// QCustomPlot is under the GPL: only this benchmark links to it, no part of Vornix does.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QGraphicsView>
#include <QPainter>
#include <QTimer>
#include <QWidget>

#ifdef VORNIX_WITH_QCUSTOMPLOT
#include <qcustomplot.h>
#endif

#include "app/frame_pacer.h"
#include "views/rpy_plotter.h"

namespace {

constexpr int kHistory = 600;
constexpr QSize kViewSize(800, 400);
constexpr int kUpdates = 3000;
constexpr int kPaints = 300;
constexpr int kLiveMs = 5000;
constexpr int kFrameMs = 16;

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

// Test motion: three sines, so that every sample moves the whole curve.
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

    // The same attitude as a quaternion in the order of the plotter: x, y, z, scalar.
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

// Lower bound for any plot of these curves: no scene, no legend, no conversion of quaternions.
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

// One way to show the curves.
class Subject
{
public:
    virtual ~Subject() = default;
    virtual const char *name() const = 0;
    // The widget whose paint events count as frames.
    virtual QWidget &painted() = 0;
    virtual void show() = 0;
    virtual void addSample() = 0;
    // Requests a frame now, independent of the widget's own frame rate.
    virtual void requestFrame() = 0;
    // Limits the frame rate if this subject does that in the program; returns whether it does.
    virtual bool limitFrameRate() { return false; }
};

class Plot : public Subject
{
public:
    Plot()
    {
        m_view.resize(kViewSize);
        m_plotter.attach(&m_view);
    }

    const char *name() const override { return "RpyPlotter"; }
    QWidget &painted() override { return *m_view.viewport(); }
    void show() override { m_view.show(); }
    void addSample() override
    {
        const std::array<float, 4> q = m_motion.nextQuaternion();
        m_plotter.addQuaternion(q[0], q[1], q[2], q[3]);
    }
    void requestFrame() override { m_view.viewport()->update(); }
    bool limitFrameRate() override
    {
        if (!m_pacer)
            m_pacer = new FramePacer(&m_view); // as in the main window
        return true;
    }

private:
    Motion m_motion;
    QGraphicsView m_view;
    RpyPlotter m_plotter;
    FramePacer *m_pacer = nullptr;
};

class Bare : public Subject
{
public:
    Bare() { m_plot.resize(kViewSize); }

    const char *name() const override { return "bare widget"; }
    QWidget &painted() override { return m_plot; }
    void show() override { m_plot.show(); }
    void addSample() override { m_plot.addSample(); }
    void requestFrame() override { m_plot.update(); }

private:
    BarePlot m_plot;
};

#ifdef VORNIX_WITH_QCUSTOMPLOT
class Custom : public Subject
{
public:
    Custom()
    {
        m_plot.resize(kViewSize);
        m_plot.setBackground(QColor(16, 16, 20));
        m_plot.setAntialiasedElements(QCP::aeAll);
        m_plot.axisRect()->setAutoMargins(QCP::msNone);
        m_plot.axisRect()->setMargins(QMargins(0, 0, 0, 0));
        setUp(*m_plot.xAxis, 100.0, 9);
        setUp(*m_plot.yAxis, 60.0, 1);
        m_plot.xAxis->setRange(0, kHistory - 1);
        const std::array colors{QColor(255, 60, 60), QColor(60, 255, 60), QColor(60, 90, 255)};
        for (int s = 0; s < 3; ++s) {
            m_plot.addGraph()->setPen(QPen(colors[static_cast<std::size_t>(s)], 2.0, Qt::SolidLine,
                                           Qt::SquareCap, Qt::BevelJoin));
            m_values[static_cast<std::size_t>(s)].fill(0.0, kHistory);
        }
        for (int i = 0; i < kHistory; ++i)
            m_keys << i;
        m_plot.legend->setVisible(true);
        m_plot.legend->setBrush(QColor(30, 30, 40, 180));
        m_plot.legend->setTextColor(QColor(230, 230, 240));
    }

    const char *name() const override { return "QCustomPlot"; }
    QWidget &painted() override { return m_plot; }
    void show() override { m_plot.show(); }

    void addSample() override
    {
        const std::array<float, 3> angles = m_motion.next();
        double reach = 10.0;
        for (std::size_t s = 0; s < angles.size(); ++s) {
            QList<double> &values = m_values[s];
            std::copy(values.cbegin() + 1, values.cend(), values.begin());
            values.back() = static_cast<double>(angles[s]);
            for (const double value : std::as_const(values))
                reach = std::max(reach, std::fabs(value));
            QCPGraph *graph = m_plot.graph(static_cast<int>(s));
            graph->setData(m_keys, values, true);
            graph->setName(QString::asprintf("%.1f°", values.back()));
        }
        m_plot.yAxis->setRange(-1.1 * reach, 1.1 * reach);
    }
    void requestFrame() override { m_plot.replot(QCustomPlot::rpQueuedReplot); }

private:
    // Grid lines at every step, and m_linesBetween fainter ones between two of them.
    class Ticker : public QCPAxisTickerFixed
    {
    public:
        Ticker(double step, int linesBetween)
            : m_linesBetween(linesBetween)
        {
            setTickStep(step);
        }

    protected:
        int getSubTickCount(double /*tickStep*/) override { return m_linesBetween; }

    private:
        int m_linesBetween;
    };

    static void setUp(QCPAxis &axis, double step, int linesBetween)
    {
        axis.setTicker(QSharedPointer<Ticker>::create(step, linesBetween));
        axis.setTickLabels(false);
        axis.grid()->setPen(QColor(95, 95, 110));
        axis.grid()->setSubGridPen(QColor(60, 60, 70));
        axis.grid()->setSubGridVisible(true);
        axis.grid()->setAntialiased(true);
    }

    Motion m_motion;
    QCustomPlot m_plot;
    QList<double> m_keys;
    std::array<QList<double>, 3> m_values;
};
#endif

using Subjects = std::vector<std::unique_ptr<Subject>>;

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

class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget &widget) { widget.installEventFilter(this); }
    int paints() const { return m_paints; }

    bool eventFilter(QObject * /*watched*/, QEvent *event) override
    {
        m_paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }

private:
    int m_paints = 0;
};

double updateMicroseconds(Subject &subject)
{
    const double figure = microsecondsEach(kUpdates, [&] { subject.addSample(); });
    runEventsFor(50);
    return figure;
}

// Adds one sample and runs the event loop until its frame is painted. Returns the CPU time.
double frameMicroseconds(Subject &subject)
{
    const PaintCounter counter(subject.painted());
    return microsecondsEach(kPaints, [&] {
        const int before = counter.paints();
        subject.addSample();
        subject.requestFrame();
        while (counter.paints() == before)
            QApplication::processEvents();
    });
}

// CPU share of one core at 1000 samples a second, one per event as the driver delivers them. The
// plot limits its frame rate itself; for the others a frame is requested at the display's rate.
double liveShare(Subject &subject)
{
    QElapsedTimer time;
    time.start();
    qint64 done = 0;
    QEventLoop loop; // not QApplication::exec(), because its end closes the windows
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        for (const qint64 due = time.nsecsElapsed() / 1000000; done < due; ++done)
            subject.addSample();
        if (time.elapsed() >= kLiveMs)
            loop.quit();
    });
    QTimer frames;
    frames.setTimerType(Qt::PreciseTimer);
    QObject::connect(&frames, &QTimer::timeout, [&] { subject.requestFrame(); });
    const PaintCounter counter(subject.painted());
    const double before = cpuSeconds();
    tick.start(1);
    if (!subject.limitFrameRate())
        frames.start(kFrameMs);
    loop.exec();
    const double share =
        (cpuSeconds() - before) / (static_cast<double>(time.nsecsElapsed()) * 1e-9) * 100.0;
    if (counter.paints() * 1000 < 40 * kLiveMs)
        std::printf("%s painted only %d frames\n", subject.name(), counter.paints());
    return share;
}

void compare(const char *what, const Subjects &subjects, int runs,
             const std::function<double(Subject &)> &measure)
{
    std::vector<std::vector<double>> figures(subjects.size());
    for (int run = 0; run < runs; ++run) {
        for (std::size_t i = 0; i < subjects.size(); ++i)
            figures[i].push_back(measure(*subjects[i]));
    }
    for (std::size_t i = 0; i < subjects.size(); ++i) {
        const auto [least, greatest] = std::minmax_element(figures[i].begin(), figures[i].end());
        std::printf("%-34s %-12s %9.2f  (%.2f to %.2f)", what, subjects[i]->name(),
                    median(figures[i]), *least, *greatest);
        if (i > 0)
            std::printf("  RpyPlotter is %.2f of it", median(figures[0]) / median(figures[i]));
        std::printf("\n");
    }
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QStringList wanted = QApplication::arguments().mid(1);
    bool isNumber = false;
    int runs = wanted.isEmpty() ? 0 : wanted.last().toInt(&isNumber);
    if (isNumber)
        wanted.removeLast();
    else
        runs = 7;
    const auto isSelected = [&](QLatin1String name) {
        return wanted.isEmpty() || wanted.contains(name);
    };

    Subjects subjects;
    subjects.push_back(std::make_unique<Plot>());
#ifdef VORNIX_WITH_QCUSTOMPLOT
    subjects.push_back(std::make_unique<Custom>());
#endif
    subjects.push_back(std::make_unique<Bare>());
    for (const auto &subject : subjects) {
        for (int i = 0; i < kHistory; ++i)
            subject->addSample();
        subject->show();
    }
    runEventsFor(300);

    if (isSelected(QLatin1String("update")))
        compare("a sample, not painted, us", subjects, runs, updateMicroseconds);
    if (isSelected(QLatin1String("paint")))
        compare("a sample and its frame, us", subjects, runs, frameMicroseconds);
    if (isSelected(QLatin1String("live")))
        compare("1000 samples/s, shown, % of a core", subjects, runs, liveShare);
    return 0;
}
