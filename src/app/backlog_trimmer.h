#pragma once

#include <functional>

#include <QObject>
#include <QTimer>

// Returns memory to the system after the GUI thread was blocked. While it is blocked, queued calls
// accumulate for each sample of the device, 100 MiB and more in 90 s. After these calls have run,
// the heap keeps most of the memory, because blocks still in use are scattered over it.
//
// Detects a blocked GUI thread by a late timer. GUI thread only.
class BacklogTrimmer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BacklogTrimmer)

public:
    // Milliseconds since any fixed moment; never goes back.
    using Clock = std::function<qint64()>;
    using Trim = std::function<void()>;
    static qint64 steadyMs();
    static void trimHeap();

    explicit BacklogTrimmer(QObject *parent, Clock clock = steadyMs, Trim trim = trimHeap);

private:
    void look();

    Clock m_clock;
    Trim m_trim;
    qint64 m_lastLookMs;
    QTimer m_timer;
};
