#include "app/frame_pacer.h"

#include <algorithm>
#include <utility>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QWidget>

namespace {

// Sixty frames a second, rounded up.
constexpr qint64 kFrameMs = 17;

} // namespace

qint64 FramePacer::steadyMs()
{
    return QDeadlineTimer::current().deadline();
}

FramePacer::FramePacer(QWidget *window, Clock clock)
    : QObject(window)
    , m_window(window)
    , m_clock(std::move(clock))
{
    m_frameEnd.setSingleShot(true);
    m_frameEnd.setTimerType(Qt::PreciseTimer);
    connect(&m_frameEnd, &QTimer::timeout, this, &FramePacer::paintNow);
    window->installEventFilter(this);
}

// A window has at most one UpdateRequest pending and posts no other before that one is delivered.
// The request dropped here therefore stands for all further ones until paintNow() delivers it. It
// is dropped only if the timer then runs: if a request is never delivered, the window stops
// painting. The clock is read once, so that it cannot change between the decision and the interval.
bool FramePacer::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_window || event->type() != QEvent::UpdateRequest)
        return false;
    if (m_frameEnd.isActive())
        return true;
    const qint64 nowMs = m_clock();
    const qint64 leftMs = m_lastFrameMs ? kFrameMs - (nowMs - *m_lastFrameMs) : 0;
    if (leftMs > 0) {
        m_frameEnd.start(static_cast<int>(std::min(leftMs, kFrameMs)));
        return true;
    }
    m_lastFrameMs = nowMs;
    return false;
}

void FramePacer::paintNow()
{
    m_lastFrameMs.reset();
    QEvent request(QEvent::UpdateRequest);
    QCoreApplication::sendEvent(m_window, &request);
}
