#pragma once

class QLineEdit;
class QPlainTextEdit;
class QString;

// Texts that are shown again and again while a user selects in them. The same text changes nothing.
// Another one replaces it, and what was selected in the part that both share stays selected.
// GUI thread only.
namespace steady_text {

// Where the end of a selection goes when `now` replaces `before`: along with what both texts begin
// or end with, and from the part that differs to the end of its replacement at most. 0 to the
// length of `now`. Pure: any thread.
int movedPosition(int position, const QString &before, const QString &now);

void show(QLineEdit &edit, const QString &text);
// The scroll position stays, too.
void show(QPlainTextEdit &edit, const QString &text);

} // namespace steady_text
