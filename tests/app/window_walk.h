#pragma once

#include <functional>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractScrollArea>
#include <QAccessible>
#include <QAccessibleInterface>
#include <QAction>
#include <QComboBox>
#include <QFormLayout>
#include <QGraphicsSimpleTextItem>
#include <QGraphicsView>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMap>
#include <QMenu>
#include <QMenuBar>
#include <QOpenGLWidget>
#include <QPlainTextEdit>
#include <QSet>
#include <QSplitterHandle>
#include <QStyle>
#include <QStyleOptionFrame>
#include <QTest>

#include "app/value_label.h"

// Checks that apply to any window.
namespace windows_test {

using namespace Qt::StringLiterals;

inline QString nameOf(const QWidget &widget)
{
    return widget.objectName().isEmpty() ? QString::fromLatin1(widget.metaObject()->className())
                                         : widget.objectName();
}

// Leaves out the child widgets of Qt's own widgets: such a widget is checked as one.
inline bool isPartOfAnother(const QWidget &widget)
{
    const QWidget *parent = widget.parentWidget();
    if (const auto *area = qobject_cast<const QAbstractScrollArea *>(parent))
        return area->viewport() == &widget || widget.objectName().startsWith(u"qt_"_s);
    return qobject_cast<const QComboBox *>(parent) ||
           qobject_cast<const QSplitterHandle *>(&widget) ||
           qobject_cast<const QAbstractItemView *>(&widget);
}

inline QList<QWidget *> visibleWidgets(const QWidget &window)
{
    QList<QWidget *> visible;
    const auto widgets = window.findChildren<QWidget *>();
    for (QWidget *const widget : widgets) {
        if (widget->isVisible() && widget->window() == &window && !isPartOfAnother(*widget))
            visible << widget;
    }
    return visible;
}

// --- Texts -------------------------------------------------------------------------------------

// Every text that the window shows or gives to a screen reader, keyed by its place. Texts painted
// by GL views are not included.
inline QMap<QString, QString> textsOf(const QWidget &window)
{
    QMap<QString, QString> texts{{u"title"_s, window.windowTitle()}};
    const auto widgets = window.findChildren<QWidget *>();
    for (QWidget *const widget : widgets) {
        const QString name = nameOf(*widget);
        texts[name + u" (spoken)"_s] = widget->accessibleName();
        if (const auto *label = qobject_cast<QLabel *>(widget))
            texts[name] = label->text();
        else if (const auto *button = qobject_cast<QAbstractButton *>(widget))
            texts[name] = button->text();
        else if (const auto *box = qobject_cast<QGroupBox *>(widget))
            texts[name] = box->title();
        else if (const auto *edit = qobject_cast<QLineEdit *>(widget))
            texts[name] = edit->text();
        else if (const auto *pane = qobject_cast<QPlainTextEdit *>(widget))
            texts[name] = pane->toPlainText();
        else if (const auto *menu = qobject_cast<QMenu *>(widget))
            texts[name] = menu->title();
        else if (const auto *combo = qobject_cast<QComboBox *>(widget))
            for (int index = 0; index < combo->count(); ++index)
                texts[name + QString::number(index)] = combo->itemText(index);
    }
    const auto actions = window.findChildren<QAction *>();
    for (const QAction *const action : actions)
        texts[action->objectName() + action->data().toString()] = action->text();
    if (const auto *plot = window.findChild<QGraphicsView *>(); plot && plot->scene()) {
        const auto items = plot->scene()->items(Qt::AscendingOrder);
        for (qsizetype i = 0; i < items.size(); ++i) {
            if (const auto *text = dynamic_cast<QGraphicsSimpleTextItem *>(items[i]))
                texts[u"plot %1"_s.arg(i)] = text->text();
        }
    }
    return texts;
}

// --- Geometry ----------------------------------------------------------------------------------

inline bool fits(QSize wanted, QSize given)
{
    return wanted.width() <= given.width() && wanted.height() <= given.height();
}

// A value may end in an ellipsis if its line is high enough.
inline bool isClipped(const QLabel &label)
{
    if (label.text().isEmpty() || label.hasScaledContents())
        return false;
    if (qobject_cast<const ValueLabel *>(&label))
        return label.sizeHint().height() > label.height();
    if (!label.wordWrap())
        return !fits(label.sizeHint(), label.size());
    return label.heightForWidth(label.width()) > label.height() ||
           label.minimumSizeHint().width() > label.width();
}

inline bool isClipped(const QLineEdit &edit)
{
    QStyleOptionFrame option;
    option.initFrom(&edit);
    const int available =
        edit.style()->subElementRect(QStyle::SE_LineEditContents, &option, &edit).width() - 4;
    return edit.fontMetrics().horizontalAdvance(edit.text()) > available;
}

inline bool isClipped(const QGroupBox &box)
{
    return box.fontMetrics().horizontalAdvance(box.title()) + 16 > box.width();
}

// The menu bar moves entries that do not fit behind a button.
inline bool isClipped(const QMenuBar &bar)
{
    const auto entries = bar.actions();
    return std::any_of(entries.begin(), entries.end(), [&](QAction *entry) {
        return !bar.rect().contains(bar.actionGeometry(entry));
    });
}

inline bool isClipped(const QWidget &widget)
{
    if (const auto *label = qobject_cast<const QLabel *>(&widget))
        return isClipped(*label);
    if (const auto *edit = qobject_cast<const QLineEdit *>(&widget))
        return isClipped(*edit);
    if (const auto *box = qobject_cast<const QGroupBox *>(&widget))
        return isClipped(*box);
    if (const auto *bar = qobject_cast<const QMenuBar *>(&widget))
        return isClipped(*bar);
    if (qobject_cast<const QAbstractButton *>(&widget) || qobject_cast<const QComboBox *>(&widget))
        return !fits(widget.sizeHint(), widget.size());
    return false;
}

// The widgets whose text does not fit, and those that extend beyond their parent.
inline QStringList clippedWidgets(const QWidget &window)
{
    QStringList clipped;
    const auto widgets = visibleWidgets(window);
    for (const QWidget *const widget : widgets) {
        const QWidget &parent = *widget->parentWidget();
        const bool scrolls = qobject_cast<QAbstractScrollArea *>(parent.parentWidget());
        if (isClipped(*widget) || (!scrolls && !parent.rect().contains(widget->geometry())))
            clipped << nameOf(*widget);
    }
    return clipped;
}

// Pairs of siblings that overlap. Frames may share their line, one pixel wide.
inline QStringList overlappingWidgets(const QWidget &window)
{
    QStringList pairs;
    const auto widgets = visibleWidgets(window);
    for (qsizetype i = 0; i < widgets.size(); ++i) {
        for (qsizetype j = i + 1; j < widgets.size(); ++j) {
            const QRect common = widgets[i]->geometry() & widgets[j]->geometry();
            if (widgets[i]->parentWidget() == widgets[j]->parentWidget() && common.width() > 1 &&
                common.height() > 1)
                pairs << nameOf(*widgets[i]) + u" on "_s + nameOf(*widgets[j]);
        }
    }
    return pairs;
}

// --- Screen readers and the keyboard -----------------------------------------------------------

// The widgets that a screen reader visits in the window.
inline QList<QWidget *> spokenWidgets(QAccessibleInterface *face)
{
    QList<QWidget *> found;
    for (int index = 0; index < face->childCount(); ++index) {
        QAccessibleInterface *const child = face->child(index);
        if (!child)
            continue;
        if (auto *widget = qobject_cast<QWidget *>(child->object()); widget && widget->isVisible())
            found << widget;
        found << spokenWidgets(child);
    }
    return found;
}

inline bool isInFieldColumn(QWidget &label)
{
    const auto *form = qobject_cast<QFormLayout *>(label.parentWidget()->layout());
    if (!form)
        return false;
    int row = -1;
    QFormLayout::ItemRole role{};
    form->getWidgetPosition(&label, &row, &role);
    return role == QFormLayout::FieldRole;
}

// Widgets whose contents do not identify them.
inline bool needsName(QWidget &widget)
{
    if (qobject_cast<QLabel *>(&widget))
        return isInFieldColumn(widget);
    return qobject_cast<QLineEdit *>(&widget) || qobject_cast<QComboBox *>(&widget) ||
           qobject_cast<QAbstractButton *>(&widget) || qobject_cast<QPlainTextEdit *>(&widget) ||
           qobject_cast<QGraphicsView *>(&widget) || qobject_cast<QOpenGLWidget *>(&widget);
}

// The widget's own name, or the text of its buddy label. The name of a button is its text. The name
// of a value is the value, which does not identify it.
inline QString spokenName(QWidget &widget)
{
    QAccessibleInterface *const face = QAccessible::queryAccessibleInterface(&widget);
    const bool isNamed = !widget.accessibleName().isEmpty() && !qobject_cast<ValueLabel *>(&widget);
    if (isNamed || qobject_cast<QAbstractButton *>(&widget))
        return face->text(QAccessible::Name);
    const auto labels = face->relations(QAccessible::Label);
    return labels.isEmpty() ? QString() : labels.front().first->text(QAccessible::Name);
}

// The widgets that need a name, each with its name.
inline QMap<QString, QString> spokenNames(QWidget &window)
{
    QMap<QString, QString> names;
    const auto widgets = spokenWidgets(QAccessible::queryAccessibleInterface(&window));
    for (QWidget *const widget : widgets) {
        if (needsName(*widget) && !isPartOfAnother(*widget))
            names[nameOf(*widget)] = spokenName(*widget);
    }
    return names;
}

inline QSet<QString> reachableByTab(QWidget &window)
{
    QSet<QString> names;
    for (int press = 0; press < 60; ++press) {
        QTest::keyClick(window.focusWidget() ? window.focusWidget() : &window, Qt::Key_Tab);
        if (window.focusWidget())
            names << nameOf(*window.focusWidget());
    }
    return names;
}

inline QSet<QString> controls(const QWidget &window)
{
    QSet<QString> names;
    const auto widgets = visibleWidgets(window);
    for (const QWidget *const widget : widgets) {
        if ((widget->focusPolicy() & Qt::TabFocus) && widget->isEnabled())
            names << nameOf(*widget);
    }
    return names;
}

} // namespace windows_test
