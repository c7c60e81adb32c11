#include "app/value_label.h"

#include <QPainter>
#include <QStyle>

using namespace Qt::StringLiterals;

ValueLabel::ValueLabel(QWidget *parent)
    : QLabel(parent)
{
}

ValueLabel::~ValueLabel() = default;

QSize ValueLabel::minimumSizeHint() const
{
    return {fontMetrics().horizontalAdvance(u"-0…"_s), QLabel::minimumSizeHint().height()};
}

QString ValueLabel::shownText() const
{
    return fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width());
}

void ValueLabel::paintEvent(QPaintEvent *event)
{
    const QString shown = shownText();
    if (shown == text())
        return QLabel::paintEvent(event);
    QPainter painter(this);
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(alignment()), palette(),
                          isEnabled(), shown, foregroundRole());
}
