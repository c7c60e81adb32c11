#pragma once

#include <initializer_list>
#include <vector>

#include <QWidget>

// Disables widgets for its lifetime. Widgets that were disabled before stay disabled afterwards. If
// one of them has the focus, `standIn` gets it meanwhile: Qt could otherwise move the focus to a
// button, which the next key press would click. GUI thread only.
class DisabledWidgets
{
    Q_DISABLE_COPY_MOVE(DisabledWidgets)

public:
    DisabledWidgets(std::initializer_list<QWidget *> widgets, QWidget *standIn)
        : m_standIn(standIn)
    {
        for (QWidget *const widget : widgets) {
            if (!widget->isEnabled())
                continue;
            if (widget->hasFocus()) {
                m_focused = widget;
                standIn->setFocus();
            }
            widget->setEnabled(false);
            m_widgets.push_back(widget);
        }
    }
    ~DisabledWidgets()
    {
        for (QWidget *const widget : m_widgets)
            widget->setEnabled(true);
        if (m_focused && m_standIn->hasFocus())
            m_focused->setFocus();
    }

private:
    QWidget *m_standIn;
    QWidget *m_focused = nullptr;
    std::vector<QWidget *> m_widgets;
};
