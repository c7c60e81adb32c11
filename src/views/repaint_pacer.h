#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

class QGraphicsView;
class QWidget;

// Keeps a view from being repainted more often than eyes can follow, however often its scene
// changes: within 16 ms of its last paint event the scene's requests for another are dropped, then
// one is made for all. Nothing is lost, as the whole view is repainted, and whoever else wants it
// painted (the window system, a screenshot) is served at once. GUI thread only.
class RepaintPacer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RepaintPacer)

public:
    // The view has its scene by now.
    explicit RepaintPacer(QGraphicsView *view);
    ~RepaintPacer() override;

    bool isHolding() const { return m_release.isActive(); }

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // While it lives, requests to repaint the view are dropped.
    class Silence
    {
        Q_DISABLE_COPY_MOVE(Silence)

    public:
        explicit Silence(QWidget *viewport); // null: no effect
        ~Silence();

    private:
        QWidget *m_viewport = nullptr;
    };

public:
    // Around a change of the scene. Null pacer: no effect.
    class Change
    {
        Q_DISABLE_COPY_MOVE(Change)

    public:
        explicit Change(RepaintPacer *pacer);

    private:
        Silence m_silence;
    };

private:
    QWidget *holdViewport();
    void release();

    QPointer<QGraphicsView> m_view;
    QPointer<QObject> m_scene;
    QElapsedTimer m_sincePaint;
    QTimer m_release;
};
