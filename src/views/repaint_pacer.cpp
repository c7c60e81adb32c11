#include "views/repaint_pacer.h"

#include <QEvent>
#include <QWidget>

namespace {
constexpr int kFrameMs = 16;
}

RepaintPacer::RepaintPacer(QWidget *widget)
    : m_widget(widget)
{
    m_release.setSingleShot(true);
    m_release.setTimerType(Qt::PreciseTimer);
    connect(&m_release, &QTimer::timeout, this, &RepaintPacer::release);
    widget->installEventFilter(this);
}

RepaintPacer::~RepaintPacer()
{
    if (m_release.isActive())
        release();
}

void RepaintPacer::hold()
{
    if (!m_widget || m_release.isActive() || !m_sincePaint.isValid())
        return;
    const qint64 elapsed = m_sincePaint.elapsed();
    if (elapsed >= kFrameMs)
        return;
    m_widget->setUpdatesEnabled(false);
    m_release.start(kFrameMs - static_cast<int>(elapsed));
}

bool RepaintPacer::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_widget && event->type() == QEvent::Paint)
        m_sincePaint.start();
    return QObject::eventFilter(watched, event);
}

void RepaintPacer::release()
{
    if (m_widget)
        m_widget->setUpdatesEnabled(true);
}
