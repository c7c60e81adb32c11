#include <QElapsedTimer>
#include <QGraphicsView>
#include <QLabel>
#include <QTest>
#include <QVBoxLayout>
#include <QWindow>

#include "app/frame_pacer.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"
#include "views/rpy_plotter.h"

using namespace Qt::StringLiterals;

namespace {

class CountingWidget : public QWidget
{
public:
    int paints = 0;
    int exposures = 0; // expose events of the window system; each paints at once

    bool eventFilter(QObject *, QEvent *event) override
    {
        exposures += event->type() == QEvent::Expose ? 1 : 0;
        return false;
    }

protected:
    void paintEvent(QPaintEvent *) override { ++paints; }
};

class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget *widget) { widget->installEventFilter(this); }
    int paints = 0;

    bool eventFilter(QObject * /*watched*/, QEvent *event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

} // namespace

class TestFramePacer : public QObject
{
    Q_OBJECT

    CountingWidget *m_window = nullptr;
    QLabel *m_label = nullptr;

private slots:
    void initTestCase()
    {
        m_window = new CountingWidget;
        auto *layout = new QVBoxLayout(m_window);
        m_label = new QLabel(u"0"_s);
        m_label->setFixedWidth(
            100); // a wider text must not resize the window, because a resize paints at once
        layout->addWidget(m_label);
        new FramePacer(m_window);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window, kWaitLimitMs));
        m_window->windowHandle()->installEventFilter(m_window);
    }

    // Any number of changes causes at most one frame in 17 ms, measured in elapsed real time.
    void changesShareFrames()
    {
        m_window->paints = 0;
        m_window->exposures = 0;
        QElapsedTimer elapsed;
        elapsed.start();
        for (int changes = 1; changes <= 3000 || elapsed.elapsed() < 300; ++changes) {
            m_label->setText(QString::number(changes));
            QCoreApplication::processEvents();
        }
        const int frames = static_cast<int>(elapsed.elapsed() / 17) + 2 + m_window->exposures;
        QVERIFY2(m_window->paints <= frames, qPrintable(QString::number(m_window->paints)));
        QVERIFY(m_window->paints > 1);
    }

    // The text of the label changes at once, and the last text is painted without another change.
    void theLastChangeIsPainted()
    {
        for (int i = 0; i < 3; ++i) {
            m_label->setText(QString::number(i));
            QCoreApplication::processEvents();
        }
        m_window->paints = 0;
        m_window->exposures = 0;
        m_label->setText(u"last"_s);
        QCOMPARE(m_label->text(), u"last"_s);
        QTRY_VERIFY(m_window->paints > 0);
        const int settled = m_window->paints;
        QTest::qWait(60);
        QVERIFY(m_window->paints <= settled + 1 + m_window->exposures); // painting stops
    }

    // Every sample requests a repaint; a wider range also requests a new fit of the view.
    void plotRepaintsAtMostOncePerFrame()
    {
        CountingWidget window;
        auto *layout = new QVBoxLayout(&window);
        auto *view = new QGraphicsView;
        layout->addWidget(view);
        RpyPlotter plotter;
        plotter.attach(view);
        new FramePacer(&window);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTest::qWait(50);

        PaintCounter plot(view->viewport());
        QElapsedTimer elapsed;
        elapsed.start();
        for (int i = 0; i < 300; ++i) {
            plotter.addRPY(0.0F, 10.0F + static_cast<float>(i) / 2.0F, 0.0F);
            QCoreApplication::processEvents();
        }
        const int frames = static_cast<int>(elapsed.elapsed() / 17) + 2;
        QVERIFY2(plot.paints <= frames, qPrintable(QString::number(plot.paints)));
        const int before = plot.paints;
        plotter.addRPY(0.0F, 0.0F, 0.0F);
        QTRY_VERIFY(plot.paints > before); // the last sample is painted without a further sample
    }

    // Each paint request is delivered, even if time passes between two readings of the clock.
    void timeBetweenClockReadingsLosesNoPaint_data()
    {
        QTest::addColumn<qint64>("msPerReading");
        QTest::newRow("none") << qint64(0);
        QTest::newRow("half a frame") << qint64(9); // the second reading falls into the next frame
        QTest::newRow("nearly a frame") << qint64(16);
        QTest::newRow("a frame") << qint64(17);
        QTest::newRow("a second") << qint64(1000);
    }

    void timeBetweenClockReadingsLosesNoPaint()
    {
        QFETCH(qint64, msPerReading);
        qint64 nowMs = 0;
        CountingWidget window;
        auto *layout = new QVBoxLayout(&window);
        auto *label = new QLabel(u"0"_s);
        label->setFixedWidth(100);
        layout->addWidget(label);
        new FramePacer(&window, [&] { return nowMs += msPerReading; });
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_VERIFY(window.paints > 0);
        for (int i = 1; i <= 20; ++i) {
            const int before = window.paints;
            label->setText(QString::number(i));
            QTRY_VERIFY2(window.paints > before, qPrintable(label->text()));
        }
    }
};

VORNIX_TEST_MAIN(TestFramePacer, QApplication)
#include "test_frame_pacer.moc"
