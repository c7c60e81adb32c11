#include "app/value_label.h"

#include <algorithm>
#include <utility>

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFocusRect>
#include <QToolTip>

using namespace Qt::StringLiterals;

namespace {

// Shorter than a screen reader needs to read one value aloud.
constexpr int kRenameIntervalMs = 100;
// Translation context of these menu entries in Qt's own catalogues.
constexpr const char *kQtTextControl = "QWidgetTextControl";

QString menuText(const char *english)
{
    return QCoreApplication::translate(kQtTextControl, english);
}

} // namespace

ValueLabel::ValueLabel(QWidget *parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setFocusPolicy(Qt::StrongFocus); // after the flags, which would exclude it from Tab
    m_renameTimer.setSingleShot(true);
    connect(&m_renameTimer, &QTimer::timeout, this, &ValueLabel::rename);
}

ValueLabel::~ValueLabel() = default;

void ValueLabel::showValue(const QString &text)
{
    if (isHeld()) {
        m_pending = text;
        return;
    }
    setText(text);
    renameSoon();
}

// --- Size and painting -------------------------------------------------------------------------

// This code avoids the label's text document: laid out a thousand times a second, it costs more
// than the rest of the panel.

QSize ValueLabel::sizeHint() const
{
    const QMargins margins = contentsMargins();
    return {fontMetrics().horizontalAdvance(text()) + margins.left() + margins.right(),
            fontMetrics().height() + margins.top() + margins.bottom()};
}

QSize ValueLabel::minimumSizeHint() const
{
    return {fontMetrics().horizontalAdvance(u"-0…"_s), sizeHint().height()};
}

QString ValueLabel::shownText() const
{
    return fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width());
}

void ValueLabel::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    const QString shown = shownText();
    paintText(painter, shown);
    if (hasSelectedText())
        paintSelection(painter, shown);
    if (!hasFocus())
        return;
    QStyleOptionFocusRect option;
    option.initFrom(this);
    style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
}

void ValueLabel::paintText(QPainter &painter, const QString &text) const
{
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(alignment()), palette(),
                          isEnabled(), text, foregroundRole());
}

// Highlights the ellipsis if any of the hidden text is selected.
void ValueLabel::paintSelection(QPainter &painter, const QString &text) const
{
    const int length = static_cast<int>(text.size());
    const int last = text == this->text() ? length : length - 1;
    const int end = selectionStart() + static_cast<int>(selectedText().size());
    const int from = std::min(selectionStart(), last);
    const int to = end > last ? length : end;
    QRect selected = contentsRect();
    selected.setLeft(contentsRect().left() + fontMetrics().horizontalAdvance(text, from));
    selected.setRight(contentsRect().left() + fontMetrics().horizontalAdvance(text, to) - 1);

    const QPalette::ColorGroup group = hasFocus() ? QPalette::Active : QPalette::Inactive;
    painter.save();
    painter.setClipRect(selected);
    painter.fillRect(selected, palette().brush(group, QPalette::Highlight));
    QPalette colors = palette();
    colors.setCurrentColorGroup(group);
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(alignment()), colors,
                          isEnabled(), text, QPalette::HighlightedText);
    painter.restore();
}

// --- Selecting and copying ---------------------------------------------------------------------

// Shows the pending text here, because every selection is ended by an event.
bool ValueLabel::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip && shownText() != text()) {
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), text(), this);
        return true;
    }
    if (event->type() == QEvent::WindowDeactivate)
        m_pressed = false; // the new window may get the release
    const bool done = QLabel::event(event);
    if (m_pending && !isHeld())
        showPending();
    return done;
}

void ValueLabel::showPending()
{
    const QString text = *std::exchange(m_pending, std::nullopt);
    showValue(text);
}

// Holds the text while the button is pressed, because a text that changes under the pointer cannot
// be selected.
void ValueLabel::mousePressEvent(QMouseEvent *event)
{
    m_pressed = m_pressed || event->button() == Qt::LeftButton;
    QLabel::mousePressEvent(event);
}

void ValueLabel::mouseReleaseEvent(QMouseEvent *event)
{
    QLabel::mouseReleaseEvent(event);
    m_pressed = m_pressed && event->button() != Qt::LeftButton;
}

void ValueLabel::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Copy) && !hasSelectedText())
        QGuiApplication::clipboard()->setText(text());
    else if (event->matches(QKeySequence::SelectAll))
        selectAll();
    else if (event->key() == Qt::Key_Escape && hasSelectedText())
        deselect();
    else
        QLabel::keyPressEvent(event);
}

// "Copy" without a selection copies the line as it is when the menu opens.
void ValueLabel::contextMenuEvent(QContextMenuEvent *event)
{
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const QString line = hasSelectedText() ? selectedText() : text();
    menu->addAction(menuText("&Copy"), [line] { QGuiApplication::clipboard()->setText(line); });
    menu->addAction(menuText("Select All"), this, &ValueLabel::selectAll);
    menu->popup(event->globalPos());
}

void ValueLabel::selectAll()
{
    setFocus(Qt::OtherFocusReason); // without focus no event ends the selection
    setSelection(0, static_cast<int>(text().size()));
}

// --- Screen readers ----------------------------------------------------------------------------

// Screen readers use the text of a label without an accessible name and are notified of every
// change. The text is therefore also set as the name, less often.

void ValueLabel::renameSoon()
{
    if (m_renameTimer.isActive())
        return;
    const qint64 elapsed = m_sinceRenamed.isValid() ? m_sinceRenamed.elapsed() : kRenameIntervalMs;
    if (elapsed >= kRenameIntervalMs)
        rename();
    else
        m_renameTimer.start(static_cast<int>(kRenameIntervalMs - elapsed));
}

void ValueLabel::rename()
{
    m_renameTimer.stop();
    m_sinceRenamed.start();
    setAccessibleName(text());
    setToolTip(shownText() == text() ? QString() : text());
}

void ValueLabel::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    renameSoon();
}

// The form has just replaced the text, even if some of it was selected.
void ValueLabel::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        m_pending.reset();
        deselect();
        rename();
    }
    QLabel::changeEvent(event);
}
