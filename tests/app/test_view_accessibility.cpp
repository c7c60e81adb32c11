// Accessibility events of the plot and the 3D view while samples arrive.

#include <atomic>
#include <chrono>
#include <cmath>
#include <map>
#include <thread>

#include <QAccessible>
#include <QElapsedTimer>
#include <QGraphicsView>
#include <QTest>

#include "app/main_window.h"
#include "driver/imu.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"
#include "views/pose_gl_widget.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kSamples = 3000;
constexpr double kEventsPerSecond = 20.0;

std::map<const QObject *, int> events;

void countEvent(QAccessibleEvent *event)
{
    ++events[event->object()];
}

QString accessibleText(QObject *object, QAccessible::Text text)
{
    const QAccessibleInterface *interface = QAccessible::queryAccessibleInterface(object);
    return interface ? interface->text(text) : QString();
}

} // namespace

class TestViewAccessibility : public QObject
{
    Q_OBJECT

private slots:
    void samplesRaiseFewEvents()
    {
        auto *window = new MainWindow; // its destructor ends the process
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        auto *driver = window->findChild<imu *>();
        auto *pose = window->findChild<PoseGLWidget *>();
        auto *plot = window->findChild<QGraphicsView *>(u"graphicsView_rpy"_s);
        const QString plotName = accessibleText(plot, QAccessible::Name);
        const QString poseName = accessibleText(pose, QAccessible::Name);
        QVERIFY(!plotName.isEmpty() && !poseName.isEmpty());
        QAccessible::installUpdateHandler(countEvent);
        QTRY_VERIFY(QAccessible::isActive());
        events.clear();
        QAccessibleEvent probe(window, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&probe);
        QCOMPARE(events[window], 1); // events do arrive here

        QElapsedTimer time;
        time.start();
        std::atomic<bool> over{false};
        std::thread reader([&] {
            for (int i = 0; i < kSamples; ++i) {
                const auto angle = static_cast<float>(i) * 0.01F;
                emit driver->quaternionUpdated(std::sin(angle), 0.0F, 0.0F, std::cos(angle));
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            over = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(over, 60000);
        reader.join();
        QCoreApplication::sendPostedEvents();
        QVERIFY(pose->attitude().rollDeg != 0.0F);
        const double limit = kEventsPerSecond * static_cast<double>(time.elapsed()) / 1000.0;
        for (const QObject *object :
             std::initializer_list<const QObject *>{plot, plot->viewport(), pose})
            QVERIFY2(events[object] <= limit, qPrintable(QString::number(events[object])));
        QCOMPARE(accessibleText(plot, QAccessible::Name), plotName);
        QCOMPARE(accessibleText(pose, QAccessible::Name), poseName);
        QVERIFY(accessibleText(pose, QAccessible::Description).contains(u"Home"_s));
    }
};

VORNIX_TEST_MAIN(TestViewAccessibility, QApplication)

#include "test_view_accessibility.moc"
