#pragma once

#include <optional>

#include <QElapsedTimer>
#include <QLabel>
#include <QTimer>

class QPainter;

// A line of live numbers. If they do not fit, the line ends in an ellipsis and the tooltip shows
// all of it: a number that is only cut off would look like another number. The label shrinks before
// its caption does.
//
// The user can select and copy the line with the mouse, the keyboard and a context menu. While any
// of it is selected, the text does not change. Its accessible name is the text, at most 0.1 s old.
class ValueLabel : public QLabel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ValueLabel)

public:
    explicit ValueLabel(QWidget *parent = nullptr);
    ~ValueLabel() override;

    // Sets the text. While something is selected, the change waits until the selection ends.
    void showValue(const QString &text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    // The visible text: the whole text, or the part that fits and an ellipsis.
    QString shownText() const;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    bool isHeld() const { return m_pressed || hasSelectedText(); }
    void deselect() { setSelection(0, 0); }
    void selectAll();
    void showPending();
    void renameSoon();
    void rename();
    void paintText(QPainter &painter, const QString &text) const;
    void paintSelection(QPainter &painter, const QString &text) const;

    bool m_pressed = false;
    std::optional<QString> m_pending; // newest text set while isHeld()
    QTimer m_renameTimer;
    QElapsedTimer m_sinceRenamed;
};
