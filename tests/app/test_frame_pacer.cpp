#include "app/frame_pacer.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QTest>
#include <QVBoxLayout>

#include "tests/support/test_main.h"

using namespace Qt::StringLiterals;

namespace {

class CountingWidget : public QWidget
{
public:
    int paints = 0;

protected:
    void paintEvent(QPaintEvent *) override { ++paints; }
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
            100); // a wider text must not resize the window, which paints at once
        layout->addWidget(m_label);
        new FramePacer(m_window);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window));
        QTest::qWait(50);
    }

    // However many changes: one frame in 17 ms, counted against the time that really passed.
    void changesShareFrames()
    {
        m_window->paints = 0;
        QElapsedTimer elapsed;
        elapsed.start();
        int changes = 0;
        while (elapsed.elapsed() < 300) {
            m_label->setText(QString::number(++changes));
            QCoreApplication::processEvents();
        }
        const int frames = static_cast<int>(elapsed.elapsed() / 17) + 2;
        QVERIFY(changes > 2 * frames);
        QVERIFY2(m_window->paints <= frames, qPrintable(QString::number(m_window->paints)));
        QVERIFY(m_window->paints > 1);
    }

    // The text itself is never held back, and the last one is painted without another change.
    void theLastChangeIsPainted()
    {
        for (int i = 0; i < 3; ++i) {
            m_label->setText(QString::number(i));
            QCoreApplication::processEvents();
        }
        m_window->paints = 0;
        m_label->setText(u"last"_s);
        QCOMPARE(m_label->text(), u"last"_s);
        QTRY_VERIFY(m_window->paints > 0);
        const int settled = m_window->paints;
        QTest::qWait(60);
        QVERIFY(m_window->paints <= settled + 1); // and it does not go on by itself
    }
};

VORNIX_TEST_MAIN(TestFramePacer, QApplication)
#include "test_frame_pacer.moc"
