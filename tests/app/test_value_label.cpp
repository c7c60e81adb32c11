#include <QApplication>
#include <QClipboard>
#include <QHelpEvent>
#include <QLineEdit>
#include <QMenu>
#include <QTest>
#include <QToolTip>
#include <QVBoxLayout>

#include "app/value_label.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;

namespace {

const QString kWide = u"-0.707107, -0.707107, -0.707107, -0.707107"_s;

} // namespace

// A label in a window, and a second widget to click at.
class TestValueLabel : public QObject
{
    Q_OBJECT

    QWidget m_window;
    ValueLabel *m_label = nullptr;
    QLineEdit *m_other = nullptr;

    static QString copied() { return QGuiApplication::clipboard()->text(); }

    // Drags over the first characters, up to `end`.
    void drag(int end)
    {
        const int y = m_label->height() / 2;
        const int x = m_label->fontMetrics().horizontalAdvance(m_label->text(), end);
        QTest::mousePress(m_label, Qt::LeftButton, {}, {0, y});
        QTest::mouseMove(m_label, {x / 2, y});
        QTest::mouseMove(m_label, {x, y});
    }
    void drop() { QTest::mouseRelease(m_label, Qt::LeftButton, {}, {0, m_label->height() / 2}); }

    // Opens the context menu with the right button.
    QMenu *openMenu()
    {
        QContextMenuEvent event(QContextMenuEvent::Mouse, {5, 5},
                                m_label->mapToGlobal(QPoint(5, 5)));
        QCoreApplication::sendEvent(m_label, &event);
        return qobject_cast<QMenu *>(QApplication::activePopupWidget());
    }
    static void choose(QMenu &menu, const QString &text)
    {
        menu.setActiveAction(entry(menu, text));
        QTest::keyClick(&menu, Qt::Key_Enter);
    }
    static QAction *entry(const QMenu &menu, const QString &text)
    {
        const auto actions = menu.actions();
        for (QAction *action : actions) {
            if (action->text().remove(u'&').startsWith(text))
                return action;
        }
        return nullptr;
    }

private slots:
    void initTestCase()
    {
        auto *column = new QVBoxLayout(&m_window);
        m_label = new ValueLabel(&m_window);
        m_other = new QLineEdit(&m_window);
        column->addWidget(m_label);
        column->addWidget(m_other);
        m_window.resize(600, 100);
        m_window.show();
        m_window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&m_window));
    }

    void init()
    {
        m_other->setFocus();
        m_window.resize(600, 100);
        m_label->showValue(u"1, 2, 3"_s);
        QCOMPARE(m_label->text(), u"1, 2, 3"_s);
        QGuiApplication::clipboard()->setText(u"before"_s);
        QCoreApplication::processEvents();
    }

    // --- Selecting -----------------------------------------------------------------------------

    void aSelectedValueDoesNotChange()
    {
        drag(4);
        m_label->showValue(u"4, 5, 6"_s); // before the button is released
        QCOMPARE(m_label->text(), u"1, 2, 3"_s);
        drop();
        QCOMPARE(m_label->selectedText(), u"1, 2"_s);
        m_label->showValue(u"7, 8, 9"_s);
        QCOMPARE(m_label->text(), u"1, 2, 3"_s);
        QTest::keySequence(m_label, QKeySequence::Copy);
        QCOMPARE(copied(), u"1, 2"_s);
        m_other->setFocus(Qt::MouseFocusReason);
        QVERIFY(!m_label->hasSelectedText());
        QCOMPARE(m_label->text(), u"7, 8, 9"_s); // the newest value
    }

    void aClickSelectsNothing()
    {
        QTest::mousePress(m_label, Qt::LeftButton, {}, {3, 5});
        m_label->showValue(u"4, 5, 6"_s);
        QTest::mouseRelease(m_label, Qt::LeftButton, {}, {3, 5});
        QCOMPARE(m_label->text(), u"4, 5, 6"_s);
    }

    void escapeEndsTheSelection()
    {
        m_label->setFocus();
        QTest::keySequence(m_label, QKeySequence::SelectAll);
        QCOMPARE(m_label->selectedText(), u"1, 2, 3"_s);
        m_label->showValue(u"4, 5, 6"_s);
        QTest::keyClick(m_label, Qt::Key_Escape);
        QVERIFY(!m_label->hasSelectedText());
        QCOMPARE(m_label->text(), u"4, 5, 6"_s);
    }

    void selectionIsHighlighted()
    {
        m_label->setFocus();
        QTest::qWait(0);
        const QImage plain = m_label->grab().toImage();
        QTest::keySequence(m_label, QKeySequence::SelectAll);
        const QImage selected = m_label->grab().toImage();
        const QColor highlight = m_label->palette().color(QPalette::Active, QPalette::Highlight);
        QVERIFY(selected != plain);
        QCOMPARE(selected.pixelColor(0, selected.height() - 2), highlight);
        QVERIFY(selected.pixelColor(selected.width() - 2, 2) != highlight);
    }

    // A language change sets the text of the form.
    void aLanguageChangeEndsTheSelection()
    {
        m_label->setFocus();
        QTest::keySequence(m_label, QKeySequence::SelectAll);
        m_label->showValue(u"4, 5, 6"_s);
        m_label->setText(u"None"_s);
        QEvent change(QEvent::LanguageChange);
        QCoreApplication::sendEvent(m_label, &change);
        QCOMPARE(m_label->text(), u"None"_s);
        QVERIFY(!m_label->hasSelectedText());
        QCOMPARE(m_label->accessibleName(), u"None"_s);
    }

    // --- Copying -------------------------------------------------------------------------------

    void tabReachesItAndCopyTakesTheWholeLine()
    {
        QTest::keyClick(m_other, Qt::Key_Tab);
        QVERIFY(m_label->hasFocus());
        QTest::keySequence(m_label, QKeySequence::Copy);
        QCOMPARE(copied(), u"1, 2, 3"_s);
        m_label->showValue(u"4, 5, 6"_s); // copying selects no text
        QCOMPARE(m_label->text(), u"4, 5, 6"_s);
    }

    void theMenuCopiesTheLineAsItWasWhenOpened()
    {
        QPointer<QMenu> menu = openMenu();
        QVERIFY(menu);
        QVERIFY(entry(*menu, u"Copy"_s));
        QVERIFY(entry(*menu, u"Copy"_s)->isEnabled());
        m_label->showValue(u"4, 5, 6"_s);
        choose(*menu, u"Copy"_s);
        QCOMPARE(copied(), u"1, 2, 3"_s);
        QTRY_VERIFY(!menu);
        QVERIFY(!m_label->hasSelectedText());
        QCOMPARE(m_label->text(), u"4, 5, 6"_s); // the menu selected no text
    }

    void theMenuSelectsAll()
    {
        QPointer<QMenu> menu = openMenu();
        QVERIFY(menu);
        choose(*menu, u"Select All"_s);
        QTRY_VERIFY(!menu);
        QCOMPARE(m_label->selectedText(), u"1, 2, 3"_s);
    }

    // --- A line wider than the label
    // --------------------------------------------------------------

    void anElidedLineHasTheWholeOneAsTooltip()
    {
        m_label->showValue(kWide);
        QTRY_COMPARE(m_label->accessibleName(), kWide);
        QVERIFY(m_label->toolTip().isEmpty());
        m_window.resize(150, 100);
        QTRY_VERIFY(m_label->shownText().endsWith(u'…'));
        QTRY_COMPARE(m_label->toolTip(), kWide);
        QHelpEvent help(QEvent::ToolTip, {5, 5}, m_label->mapToGlobal(QPoint(5, 5)));
        QCoreApplication::sendEvent(m_label, &help);
        QCOMPARE(QToolTip::text(), kWide);
        QToolTip::hideText();
        m_window.resize(600, 100);
        QTRY_VERIFY(m_label->toolTip().isEmpty());
    }

    void anElidedLineIsCopiedWhole()
    {
        m_window.resize(150, 100);
        m_label->showValue(kWide);
        QTRY_VERIFY(m_label->shownText().endsWith(u'…'));
        m_label->setFocus();
        QTest::keySequence(m_label, QKeySequence::SelectAll);
        QTest::keySequence(m_label, QKeySequence::Copy);
        QCOMPARE(copied(), kWide);
    }
};

QTEST_MAIN(TestValueLabel)
#include "test_value_label.moc"
