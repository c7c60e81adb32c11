#include "dialogs/steady_text.h"

#include <algorithm>

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QString>

namespace steady_text {

int movedPosition(int position, const QString &before, const QString &now)
{
    const auto shorter = std::min(before.size(), now.size());
    const auto sharedStart =
        std::mismatch(before.begin(), before.begin() + shorter, now.begin()).first - before.begin();
    if (position <= sharedStart)
        return position;
    const auto sharedEnd =
        std::mismatch(before.rbegin(), before.rbegin() + shorter - sharedStart, now.rbegin())
            .first -
        before.rbegin();
    if (position >= before.size() - sharedEnd)
        return static_cast<int>(position + now.size() - before.size());
    return static_cast<int>(std::min<qsizetype>(position, now.size() - sharedEnd));
}

void show(QLineEdit &edit, const QString &text)
{
    const QString before = edit.text();
    if (text == before)
        return;
    // The cursor is at one end of the selection, the anchor at the other.
    const int cursor = edit.cursorPosition();
    const bool backwards = edit.hasSelectedText() && cursor == edit.selectionStart();
    const int anchor = !edit.hasSelectedText() ? cursor
                       : backwards             ? edit.selectionEnd()
                                               : edit.selectionStart();
    edit.setText(text);
    const int start = movedPosition(anchor, before, text);
    edit.setSelection(start, movedPosition(cursor, before, text) - start);
}

void show(QPlainTextEdit &edit, const QString &text)
{
    const QString before = edit.toPlainText();
    if (text == before)
        return;
    const int anchor = edit.textCursor().anchor();
    const int position = edit.textCursor().position();
    const int across = edit.horizontalScrollBar()->value();
    const int down = edit.verticalScrollBar()->value();
    edit.setPlainText(text);
    QTextCursor moved(edit.document());
    moved.setPosition(movedPosition(anchor, before, text));
    moved.setPosition(movedPosition(position, before, text), QTextCursor::KeepAnchor);
    edit.setTextCursor(moved);
    edit.horizontalScrollBar()->setValue(across);
    edit.verticalScrollBar()->setValue(down);
}

} // namespace steady_text
