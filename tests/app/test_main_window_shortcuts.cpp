#include "tests/fixtures/test_main.h"

#include <QAction>
#include <QDialog>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QTest>

#include "app/application.h"
#include "app/main_window.h"

using namespace Qt::StringLiterals;

// Keys pressed in the window and in a dialog above it.
class TestMainWindowShortcuts : public QObject
{
    Q_OBJECT

    MainWindow *m_window = nullptr;

    QAction *action(const QString &name) const { return m_window->findChild<QAction *>(name); }

    static void keysAndActions()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QKeyCombination>("keys");
        QTest::newRow("F5") << u"actionScan"_s << QKeyCombination(Qt::Key_F5);
        QTest::newRow("Ctrl+K") << u"actionConnect_2"_s << (Qt::CTRL | Qt::Key_K);
        QTest::newRow("Ctrl+D") << u"actionDisconnect_4"_s << (Qt::CTRL | Qt::Key_D);
        QTest::newRow("Ctrl+,") << u"actionOpenSettings"_s << (Qt::CTRL | Qt::Key_Comma);
        QTest::newRow("Ctrl+I") << u"actionShowDeviceInfo_2"_s << (Qt::CTRL | Qt::Key_I);
        QTest::newRow("F1") << u"actionHelpDialog"_s << QKeyCombination(Qt::Key_F1);
    }

    static void press(QWidget *window, QKeyCombination keys)
    {
        QTest::keyClick(window, keys.key(), keys.keyboardModifiers());
    }

private slots:
    void initTestCase()
    {
        m_window = new MainWindow;
        m_window->show();
    }

    void init()
    {
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window));
    }

    void keysTriggerTheirEntries_data() { keysAndActions(); }
    void keysTriggerTheirEntries()
    {
        QFETCH(QString, name);
        QFETCH(QKeyCombination, keys);
        action(u"actionOpenSettings"_s)->setEnabled(true);
        action(u"actionShowDeviceInfo_2"_s)->setEnabled(true);
        // The entries would open windows, so the test only counts that they are triggered.
        int chosen = 0;
        QAction *entry = action(name);
        entry->disconnect();
        connect(entry, &QAction::triggered, this, [&] { ++chosen; });
        press(m_window, keys);
        QCOMPARE(chosen, 1);
        entry->disconnect();
    }

    void keysDoNothingInADialog_data()
    {
        keysAndActions();
        QTest::newRow("Ctrl+Q") << QString() << (Qt::CTRL | Qt::Key_Q);
    }

    void keysDoNothingInADialog()
    {
        QFETCH(QString, name);
        QFETCH(QKeyCombination, keys);
        int chosen = 0;
        if (QAction *entry = action(name))
            connect(entry, &QAction::triggered, this, [&] { ++chosen; });
        QDialog dialog(m_window);
        dialog.open();
        dialog.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
        press(&dialog, keys);
        QCOMPARE(chosen, 0);
        QVERIFY(dialog.isVisible());
        QVERIFY(m_window->isVisible());
    }

    void theEntriesShowThem()
    {
        for (const QString &name :
             {u"actionScan"_s, u"actionConnect_2"_s, u"actionDisconnect_4"_s,
              u"actionOpenSettings"_s, u"actionShowDeviceInfo_2"_s, u"actionHelpDialog"_s}) {
            QVERIFY2(!action(name)->shortcut().isEmpty(), qPrintable(name));
            QVERIFY2(action(name)->isShortcutVisibleInContextMenu(), qPrintable(name));
        }
    }

    // This test is the last, because it closes the window. No menu has an entry for this key.
    void ctrlQClosesTheWindow()
    {
        const auto actions = m_window->findChildren<QAction *>();
        for (const QAction *entry : actions)
            QVERIFY(entry->shortcut() != QKeySequence(Qt::CTRL | Qt::Key_Q));
        press(m_window, Qt::CTRL | Qt::Key_Q);
        QVERIFY(!m_window->isVisible());
    }
};

VORNIX_TEST_MAIN(TestMainWindowShortcuts, Application)
#include "test_main_window_shortcuts.moc"
