#include "views/repaint_pacer.h"

#include <QEvent>
#include <QGraphicsScene>
#include <QGraphicsView>

namespace {
constexpr int kFrameMs = 16;
}

RepaintPacer::RepaintPacer(QGraphicsView *view)
    : m_view(view)
    , m_scene(view->scene())
{
    m_release.setSingleShot(true);
    m_release.setTimerType(Qt::PreciseTimer);
    connect(&m_release, &QTimer::timeout, this, &RepaintPacer::release);
    view->viewport()->installEventFilter(this);
    if (m_scene)
        m_scene->installEventFilter(this);
}

RepaintPacer::~RepaintPacer()
{
    if (isHolding())
        release();
}

// The scene collects what its items ask for and passes it on to the view in a queued call to
// itself: that call is the place to drop it. The items' own bookkeeping goes through.
// The type is looked at first: a view that is being destroyed still sends events, but none of
// these, and must not be touched any more.
bool RepaintPacer::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Paint && m_view && watched == m_view->viewport())
        m_sincePaint.start();
    if (event->type() == QEvent::MetaCall && isHolding() && m_view && watched == m_scene) {
        const Silence silence(m_view->viewport());
        return watched->event(event);
    }
    return QObject::eventFilter(watched, event);
}

// Null when it is time for a repaint.
QWidget *RepaintPacer::holdViewport()
{
    if (!m_view || !m_sincePaint.isValid())
        return nullptr;
    const qint64 elapsed = m_sincePaint.elapsed();
    if (!isHolding() && elapsed < kFrameMs)
        m_release.start(kFrameMs - static_cast<int>(elapsed));
    return isHolding() ? m_view->viewport() : nullptr;
}

void RepaintPacer::release()
{
    if (m_view)
        m_view->viewport()->update();
}

// The attribute itself: turning updates on again through the setter would ask for a repaint. It is
// never left set, as a screenshot of a widget with updates off shows nothing of it.
RepaintPacer::Silence::Silence(QWidget *viewport)
{
    if (!viewport || !viewport->updatesEnabled())
        return;
    m_viewport = viewport;
    m_viewport->setAttribute(Qt::WA_UpdatesDisabled);
}

RepaintPacer::Silence::~Silence()
{
    if (m_viewport)
        m_viewport->setAttribute(Qt::WA_UpdatesDisabled, false);
}

RepaintPacer::Change::Change(RepaintPacer *pacer)
    : m_silence(pacer ? pacer->holdViewport() : nullptr)
{
}
