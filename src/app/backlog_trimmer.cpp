#include "app/backlog_trimmer.h"

#include <utility>

#include <malloc.h>

#include <QDeadlineTimer>

namespace {

constexpr int kLookIntervalMs = 1000;
// A shorter time leaves only a few MiB, too little to justify a trim.
constexpr qint64 kBlockedMs = 5000;

} // namespace

qint64 BacklogTrimmer::steadyMs()
{
    return QDeadlineTimer::current().deadline();
}

void BacklogTrimmer::trimHeap()
{
    malloc_trim(0);
}

BacklogTrimmer::BacklogTrimmer(QObject *parent, Clock clock, Trim trim)
    : QObject(parent)
    , m_clock(std::move(clock))
    , m_trim(std::move(trim))
    , m_lastLookMs(m_clock())
{
    connect(&m_timer, &QTimer::timeout, this, &BacklogTrimmer::look);
    m_timer.start(kLookIntervalMs);
}

// The event loop runs all queued calls before its timers, so they have finished here.
void BacklogTrimmer::look()
{
    const qint64 nowMs = m_clock();
    const bool wasBlocked = nowMs - m_lastLookMs > kBlockedMs;
    m_lastLookMs = nowMs;
    if (wasBlocked)
        m_trim();
}
