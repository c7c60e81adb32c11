#include "app/frame_pacer.h"

#include <QCoreApplication>
#include <QEvent>
#include <QWidget>

namespace {

// Sixty frames a second, rounded up: a part that paces itself to 16 ms is ready when its window is.
constexpr qint64 kFrameMs = 17;

} // namespace

FramePacer::FramePacer(QWidget *window)
    : QObject(window)
    , m_window(window)
{
    m_frameEnd.setSingleShot(true);
    m_frameEnd.setTimerType(Qt::PreciseTimer);
    connect(&m_frameEnd, &QTimer::timeout, this, &FramePacer::paintNow);
    window->installEventFilter(this);
}

// A window has at most one such request under way, and makes no other before it is delivered; so
// the one swallowed here stands for all that follow until paintNow() delivers it.
bool FramePacer::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_window || event->type() != QEvent::UpdateRequest)
        return false;
    if (m_frameEnd.isActive())
        return true;
    if (m_sinceFrame.isValid() && m_sinceFrame.elapsed() < kFrameMs) {
        m_frameEnd.start(static_cast<int>(kFrameMs - m_sinceFrame.elapsed()));
        return true;
    }
    m_sinceFrame.start();
    return false;
}

void FramePacer::paintNow()
{
    m_sinceFrame.invalidate();
    QEvent request(QEvent::UpdateRequest);
    QCoreApplication::sendEvent(m_window, &request);
}
