#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

class QWidget;

// Keeps a widget from being repainted more often than eyes can follow, however often its content
// changes: within 16 ms of its last paint event its updates are off, then they come at once.
// Nothing is lost: turning them on again repaints all of it. GUI thread only.
class RepaintPacer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RepaintPacer)

public:
    explicit RepaintPacer(QWidget *widget);
    ~RepaintPacer() override;

    // To be called before each change that would ask for a repaint.
    void hold();

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void release();

    QPointer<QWidget> m_widget;
    QElapsedTimer m_sincePaint;
    QTimer m_release;
};
