#pragma once

#include <optional>

#include <QElapsedTimer>
#include <QLabel>
#include <QTimer>

class QPainter;

// A line of live numbers. Where there is no space for all of them it ends in an ellipsis and has
// the whole line as tooltip: a number that was merely cut off would look like another number. Gives
// way to its caption.
//
// The line can be selected and copied, with the mouse, with the keyboard and from a context menu.
// While any of it is selected the text does not change. Its accessible name is the text, at most a
// tenth of a second old.
class ValueLabel : public QLabel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ValueLabel)

public:
    explicit ValueLabel(QWidget *parent = nullptr);
    ~ValueLabel() override;

    // Sets the text; while something is selected, as soon as nothing is.
    void showValue(const QString &text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    // What is to be seen: the text, or as much of it as fits.
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
    std::optional<QString> m_pending; // the newest text that came while it was held
    QTimer m_renameTimer;
    QElapsedTimer m_sinceRenamed;
};
