#pragma once

#include <functional>

#include <QObject>
#include <QTimer>

// Gives memory back to the system after the GUI thread was blocked. While it is, each sample of the
// device waits as queued calls, 90 s of which are some 100 MiB and more; when they have been dealt
// with, the heap keeps most of it, as single blocks that are still in use lie scattered over it.
//
// Notices a block by a timer that is late. GUI thread only.
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
