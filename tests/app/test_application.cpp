#include "app/application.h"

#include <cerrno>
#include <stdexcept>

#include <boost/system/system_error.hpp>

#include <QIcon>
#include <QMenu>
#include <QMenuBar>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include "tests/support/test_main.h"

using namespace Qt::StringLiterals;

// Exceptions that leave slots, as they do in the program: through the event loop.
class TestApplication : public QObject
{
    Q_OBJECT

private slots:
    void everyWindowHasTheIcon()
    {
        QCOMPARE(QGuiApplication::windowIcon().availableSizes(), QList<QSize>{QSize(256, 256)});
    }

    void itNamesItsMenuEntry()
    {
        QCOMPARE(QGuiApplication::desktopFileName(), QStringLiteral(VORNIX_APP_ID));
    }

    void theLoopSurvivesAnException()
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

    // The usual way: a click in a menu, several event handlers deep.
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
        QVERIFY(QTest::qWaitForWindowExposed(&bar, kPatienceMs));
        for (int click = 1; click <= 2; ++click) {
            QTest::ignoreMessage(QtWarningMsg, "Unhandled error: from a menu");
            QTest::mouseClick(&bar, Qt::LeftButton, {},
                              bar.actionGeometry(menu->menuAction()).center());
            QTRY_VERIFY(menu->isVisible());
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
            QCOMPARE(calls, click);
            QTRY_VERIFY(!menu->isVisible());
        }
    }
};

VORNIX_TEST_MAIN(TestApplication, Application)
#include "test_application.moc"
