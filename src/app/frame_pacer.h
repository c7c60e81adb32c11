#pragma once

#include <functional>
#include <optional>

#include <QObject>
#include <QTimer>

class QWidget;

// Limits the repaints of a window to 60 Hz, however often its contents change. All repaints
// requested within one frame of the last repaint are painted together when the frame ends.
//
// Qt composes a window with a GL view completely for every repaint of any part, even of one label.
// A thousand new label texts a second would otherwise compose the whole window a thousand times.
// The contents themselves are not delayed. GUI thread only.
class FramePacer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FramePacer)

public:
    // Milliseconds since any fixed moment; never goes back.
    using Clock = std::function<qint64()>;
    static qint64 steadyMs();

    // The window becomes the parent; it must be a top-level window.
    explicit FramePacer(QWidget *window, Clock clock = steadyMs);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void paintNow();

    QWidget *m_window;
    Clock m_clock;
    std::optional<qint64> m_lastFrameMs; // none: the next request is painted at once
    QTimer m_frameEnd;
};
