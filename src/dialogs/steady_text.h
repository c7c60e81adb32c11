#pragma once

class QLineEdit;
class QPlainTextEdit;
class QString;

// Updates a text repeatedly without losing the user's selection. An equal text changes nothing. A
// different text replaces the old one, and the selection stays in the part that both share. GUI
// thread only.
namespace steady_text {

// New position of one end of a selection when `now` replaces `before`; 0 to the length of `now`. In
// the part that both texts begin or end with, it stays at the same character. In the part that
// differs, it stays at the same index, but not behind the end of the replacement. Pure: any thread.
int movedPosition(int position, const QString &before, const QString &now);

void show(QLineEdit &edit, const QString &text);
// Also keeps the scroll position.
void show(QPlainTextEdit &edit, const QString &text);

} // namespace steady_text
