#pragma once

#include <functional>
#include <optional>

#include <QObject>
#include <QTimer>

class QWidget;

// Limits a window to 60 frames a second, however often its contents change: whatever asks for a
// repaint within a frame of the last one is painted together, once, when the frame is over.
//
// A window with a GL view in it is composed anew for every repaint of any part, a single label's
// included; a thousand label texts a second would otherwise cost a thousand full windows.
// The contents themselves are never held back. GUI thread only.
class FramePacer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FramePacer)

public:
    // Milliseconds since any fixed moment; never goes back.
    using Clock = std::function<qint64()>;
    static qint64 steadyMs();

    // Becomes a child of the window, which has to be a top-level one.
    explicit FramePacer(QWidget *window, Clock clock = steadyMs);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void paintNow();

    QWidget *m_window;
    Clock m_clock;
    std::optional<qint64> m_lastFrameMs; // none: the next request is painted at once
    QTimer m_frameEnd;
};
