#pragma once

#include <QAbstractItemView>
#include <QAbstractScrollArea>
#include <QAccessible>
#include <QAccessibleInterface>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTranslator>

// Helpers that the dialog tests share.
namespace dialog_test {

// The child of that name; the program aborts if there is none.
template <typename Widget>
Widget *child(const QWidget &dialog, const QString &name)
{
    auto *const found = dialog.findChild<Widget *>(name);
    if (!found)
        qFatal("no %s in %s", qPrintable(name), qPrintable(dialog.objectName()));
    return found;
}

inline QStringList itemTexts(const QComboBox &combo)
{
    QStringList texts;
    for (int index = 0; index < combo.count(); ++index)
        texts << combo.itemText(index);
    return texts;
}

// A test language: every text of words is the English text with a mark before it. Numbers, with or
// without a unit, stay unchanged, as in any real language.
class MarkingTranslator : public QTranslator
{
public:
    QString translate(const char * /*context*/, const char *sourceText,
                      const char * /*disambiguation*/, int /*n*/) const override
    {
        const QString source = QString::fromUtf8(sourceText);
        return source.isEmpty() || source.front().isDigit() ? source : QChar(u'~') + source;
    }
    bool isEmpty() const override { return false; }
};

// Whether a screen reader gets a name for the widget. The accessible name of a combo box is its
// current text; its purpose comes from its label.
inline bool isNamed(QWidget *widget)
{
    QAccessibleInterface *const face = QAccessible::queryAccessibleInterface(widget);
    if (!face)
        return false;
    if (qobject_cast<QComboBox *>(widget))
        return !widget->accessibleName().isEmpty() ||
               !face->relations(QAccessible::Label).isEmpty();
    return !face->text(QAccessible::Name).isEmpty();
}

// The visible controls and labels that have no name for a screen reader.
inline QStringList unnamedWidgets(const QWidget &dialog)
{
    QStringList unnamed;
    const auto widgets = dialog.findChildren<QWidget *>();
    for (QWidget *const widget : widgets) {
        const bool isPartOfAnother = qobject_cast<QComboBox *>(widget->parentWidget()) ||
                                     qobject_cast<QAbstractItemView *>(widget);
        const bool wantsName =
            widget->focusPolicy() != Qt::NoFocus || qobject_cast<QLabel *>(widget);
        if (wantsName && !isPartOfAnother && widget->isVisible() && !isNamed(widget))
            unnamed << widget->objectName();
    }
    return unnamed;
}

// The names of the widgets that Tab visits, from the focused one until it returns there. A label
// with links takes one Tab for each link.
inline QStringList tabRound(QWidget &dialog)
{
    QStringList names{dialog.focusWidget()->objectName()};
    for (int press = 0; press < 100; ++press) {
        QTest::keyClick(dialog.focusWidget(), Qt::Key_Tab);
        const QString name = dialog.focusWidget()->objectName();
        if (name == names.front() && names.size() > 1)
            break;
        if (name != names.back())
            names << name;
    }
    return names;
}

// The buttons that Enter presses in any of the dialog's widgets, and the buttons that are the
// default or become it when focused.
inline QStringList pressedByEnter(QWidget &dialog)
{
    QStringList pressed;
    QObject listener;
    const auto buttons = dialog.findChildren<QPushButton *>();
    for (QPushButton *const button : buttons) {
        if (button->isDefault() || button->autoDefault())
            pressed << button->objectName();
        QObject::connect(button, &QPushButton::clicked, &listener,
                         [&pressed, button] { pressed << button->objectName(); });
    }
    const auto widgets = dialog.findChildren<QWidget *>();
    for (QWidget *const widget : widgets) {
        if (widget->focusPolicy() != Qt::NoFocus && widget->isVisible() && dialog.isVisible()) {
            widget->setFocus();
            QTest::keyClick(widget, Qt::Key_Return);
            QTest::keyClick(widget, Qt::Key_Enter);
        }
    }
    return pressed;
}

// Moves the mouse over the label until it is on a link, and clicks there. False if there is none.
inline bool clickFirstLink(QLabel &label)
{
    bool isOnLink = false;
    const auto hovered = QObject::connect(&label, &QLabel::linkHovered,
                                          [&](const QString &link) { isOnLink = !link.isEmpty(); });
    for (int y = 2; y < label.height() && !isOnLink; y += 4) {
        for (int x = 2; x < label.width() && !isOnLink; x += 8) {
            const QPointF place(x, y);
            QMouseEvent move(QEvent::MouseMove, place, label.mapToGlobal(place), Qt::NoButton,
                             Qt::NoButton, Qt::NoModifier);
            QCoreApplication::sendEvent(&label, &move);
            if (isOnLink)
                QTest::mouseClick(&label, Qt::LeftButton, {}, QPoint(x, y));
        }
    }
    QObject::disconnect(hovered);
    return isOnLink;
}

} // namespace dialog_test
