#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QTest>

#include "dialogs/steady_text.h"

using namespace Qt::StringLiterals;

class TestSteadyText : public QObject
{
    Q_OBJECT

private slots:
    void movesPositions_data();
    void movesPositions();
    void sameTextChangesNothing();
    void selectionKeepsItsDirection();
};

void TestSteadyText::movesPositions_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("now");
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("expected");
    const auto row = [](const char *name, const QString &before, const QString &now, int position,
                        int expected) {
        QTest::newRow(name) << before << now << position << expected;
    };
    row("first text", u""_s, u"abc"_s, 0, 0);
    row("before the difference", u"rate 100 Hz"_s, u"rate 1000 Hz"_s, 5, 5);
    row("behind the difference", u"rate 100 Hz"_s, u"rate 1000 Hz"_s, 9, 10);
    row("at the end", u"rate 100 Hz"_s, u"rate 1000 Hz"_s, 11, 12);
    row("start of what is replaced", u"x 100 y"_s, u"x 259 y"_s, 2, 2);
    row("inside of what is replaced", u"x 100 y"_s, u"x 259 y"_s, 4, 4);
    row("end of what is replaced", u"x 100 y"_s, u"x 259 y"_s, 5, 5);
    row("what is replaced gets shorter", u"x 1234 y"_s, u"x 9 y"_s, 5, 3);
    row("a digit less of the same", u"1000 Hz"_s, u"100 Hz"_s, 4, 3);
    row("nothing in common", u"abcdef"_s, u"xy"_s, 4, 2);
    row("to nothing", u"abc"_s, u""_s, 3, 0);
}

void TestSteadyText::movesPositions()
{
    QFETCH(QString, before);
    QFETCH(QString, now);
    QFETCH(int, position);
    QTEST(steady_text::movedPosition(position, before, now), "expected");
}

void TestSteadyText::sameTextChangesNothing()
{
    QLineEdit edit;
    QPlainTextEdit box;
    steady_text::show(edit, u"c0ffee"_s);
    steady_text::show(box, u"one\ntwo"_s);
    QCOMPARE(edit.text(), u"c0ffee"_s);
    QCOMPARE(box.toPlainText(), u"one\ntwo"_s);
    QSignalSpy editChanges(&edit, &QLineEdit::textChanged);
    QSignalSpy boxChanges(&box, &QPlainTextEdit::textChanged);
    steady_text::show(edit, u"c0ffee"_s);
    steady_text::show(box, u"one\ntwo"_s);
    QVERIFY(editChanges.isEmpty());
    QVERIFY(boxChanges.isEmpty());
}

// The cursor stays at its end of the selection, so Shift and an arrow key continue from there.
void TestSteadyText::selectionKeepsItsDirection()
{
    QLineEdit edit(u"rate 100 Hz"_s);
    edit.setSelection(8, -3);
    QCOMPARE(edit.selectedText(), u"100"_s);
    steady_text::show(edit, u"rate 2000 Hz"_s);
    QCOMPARE(edit.selectedText(), u"2000"_s);
    QCOMPARE(edit.cursorPosition(), 5);

    QPlainTextEdit box(u"rate 100 Hz"_s);
    QTextCursor cursor = box.textCursor();
    cursor.setPosition(8);
    cursor.setPosition(5, QTextCursor::KeepAnchor);
    box.setTextCursor(cursor);
    steady_text::show(box, u"rate 2000 Hz"_s);
    QCOMPARE(box.textCursor().selectedText(), u"2000"_s);
    QCOMPARE(box.textCursor().position(), 5);
}

QTEST_MAIN(TestSteadyText)
#include "test_steady_text.moc"
