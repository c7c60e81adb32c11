#include <cerrno>
#include <stdexcept>

#include <boost/system/system_error.hpp>

#include <QIcon>
#include <QMenu>
#include <QMenuBar>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include "app/application.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;

// Exceptions that leave a slot and reach the event loop, as in the program.
class TestApplication : public QObject
{
    Q_OBJECT

private slots:
    void everyWindowHasTheIcon()
    {
        QCOMPARE(QGuiApplication::windowIcon().availableSizes(), QList<QSize>{QSize(256, 256)});
    }

    void namesItsDesktopEntry()
    {
        QCOMPARE(QGuiApplication::desktopFileName(), QStringLiteral(VORNIX_APP_ID));
    }

    void eventLoopContinuesAfterAnException()
    {
        QTest::ignoreMessage(QtWarningMsg, "Unhandled error: broken");
        bool after = false;
        QTimer::singleShot(0, this, [] { throw std::runtime_error("broken"); });
        QTimer::singleShot(1, this, [&] { after = true; });
        QTRY_VERIFY(after);
    }

    void aRefusedPortIsExplained()
    {
        QTest::ignoreMessage(
            QtWarningMsg,
            QRegularExpression(u"^Unhandled error: open: Permission denied.*dialout"_s));
        bool thrown = false;
        QTimer::singleShot(0, this, [&] {
            thrown = true;
            throw boost::system::system_error(EACCES, boost::system::system_category(), "open");
        });
        QTRY_VERIFY(thrown);
    }

    // An exception usually starts at a click in a menu, several event handlers deep. The pointer
    // moves to the entry first, because newer Qt closes a menu that is pressed before the pointer
    // has entered it.
    void aMenuWorksAfterItsActionThrew()
    {
        QMenuBar bar;
        QMenu *menu = bar.addMenu(u"Menu"_s);
        int calls = 0;
        QAction *action = menu->addAction(u"Throw"_s, this, [&] {
            ++calls;
            throw std::runtime_error("from a menu");
        });
        bar.show();
        QVERIFY(QTest::qWaitForWindowExposed(&bar, kWaitLimitMs));
        const QPoint title = bar.actionGeometry(menu->menuAction()).center();
        for (int click = 1; click <= 2; ++click) {
            QTest::ignoreMessage(QtWarningMsg, "Unhandled error: from a menu");
            QTest::mouseMove(&bar, title);
            QTRY_VERIFY_WITH_TIMEOUT(bar.underMouse(), kWaitLimitMs);
            QTest::mouseClick(&bar, Qt::LeftButton, {}, title);
            QVERIFY(QTest::qWaitForWindowExposed(menu, kWaitLimitMs));
            const QPoint item = menu->actionGeometry(action).center();
            QTest::mouseMove(menu, item);
            QTRY_COMPARE_WITH_TIMEOUT(menu->activeAction(), action, kWaitLimitMs);
            QTest::mouseClick(menu, Qt::LeftButton, {}, item);
            QCOMPARE(calls, click);
            QTRY_VERIFY(!menu->isVisible());
        }
    }
};

VORNIX_TEST_MAIN(TestApplication, Application)
#include "test_application.moc"
