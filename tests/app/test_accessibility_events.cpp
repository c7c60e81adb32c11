// Accessibility events of the main window while a device streams.

#include <cstdio>
#include <cstdlib>

#include <QAccessible>
#include <QElapsedTimer>
#include <QHash>
#include <QProcess>
#include <QTest>

#include "app/application.h"
#include "app/main_window.h"
#include "app/value_label.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;

namespace {

// Without this Qt assumes that no screen reader runs and sends no events.
class AccessibilityBus
{
    Q_DISABLE_COPY_MOVE(AccessibilityBus)

public:
    AccessibilityBus()
    {
        m_daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address=1"_s});
        if (!m_daemon.waitForReadyRead())
            qFatal("no message bus");
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_daemon.readLine().trimmed());
        qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
        QProcess activation;
        activation.start(u"dbus-send"_s,
                         {u"--session"_s, u"--print-reply"_s, u"--dest=org.a11y.Bus"_s,
                          u"/org/a11y/bus"_s, u"org.a11y.Bus.GetAddress"_s});
        if (!activation.waitForFinished() || activation.exitCode() != 0)
            qFatal("no accessibility service");
    }

    void stop()
    {
        m_daemon.terminate();
        m_daemon.waitForFinished();
    }

private:
    QProcess m_daemon;
};

QHash<QObject *, int> g_events;

void count(QAccessibleEvent *event)
{
    ++g_events[event->object()];
}

} // namespace

class TestAccessibilityEvents : public QObject
{
    Q_OBJECT

    MainWindow *m_window = nullptr;

    void showSample(int value)
    {
        for (const auto signal :
             {&MainWindow::DataQuaternionWrite, &MainWindow::DataEulerWrite,
              &MainWindow::DataAccelerationWrite, &MainWindow::DataAngularRateWrite,
              &MainWindow::DataMagneticFieldWrite, &MainWindow::DataCovarianceWrite,
              &MainWindow::DataPressureWrite})
            emit(m_window->*signal)(QString::number(value));
    }

private slots:
    void initTestCase()
    {
        m_window = new MainWindow;
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window));
        QTRY_VERIFY_WITH_TIMEOUT(QAccessible::isActive(), 20'000);
    }

    // All blocks arrive at about 1000 Hz for one second, or longer on a busy machine. Each value
    // may raise at most twenty events a second, and its final accessible name is the text it shows.
    void samplesRaiseFewEvents()
    {
        const QList<ValueLabel *> labels = m_window->findChildren<ValueLabel *>();
        QCOMPARE(labels.size(), 7);
        QAccessible::installUpdateHandler(count);
        QElapsedTimer elapsed;
        elapsed.start();
        int samples = 0;
        while (elapsed.elapsed() < 1000) {
            for (int waiting = 0; waiting < 10; ++waiting)
                showSample(++samples);
            QTest::qWait(10);
        }
        const QString last = QString::number(samples);
        for (ValueLabel *label : labels)
            QTRY_COMPARE(QAccessible::queryAccessibleInterface(label)->text(QAccessible::Name),
                         last);
        const auto most = 20 * elapsed.elapsed() / 1000;
        QAccessible::installUpdateHandler(nullptr);

        QVERIFY(samples > most);
        for (ValueLabel *label : labels) {
            const int events = g_events.value(label);
            QVERIFY2(events > 1 && events <= most,
                     qPrintable(u"%1: %2"_s.arg(label->objectName()).arg(events)));
        }
    }
};

int main(int argc, char **argv)
{
    AccessibilityBus bus; // must exist before Qt looks for a bus
    Application application(argc, argv);
    TestAccessibilityEvents test;
    const int failures = QTest::qExec(&test, argc, argv);
    bus.stop();
    std::fflush(nullptr);
    std::_Exit(failures); // destroying the window would also end the process
}
#include "test_accessibility_events.moc"
