#pragma once

#include "sim/Pty.h"
#include "sim/Recorder.h"
#include "sim/Unit.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace sim {

// What became of the packets the unit gave to its line.
struct LineCounters
{
    std::uint64_t sent = 0;    // intact into the host's input queue
    std::uint64_t samples = 0; // data packets among those
    std::uint64_t unread = 0;  // of the samples: the host closed before it had read all their bytes
    std::uint64_t skipped = 0; // data packets for which the line had no room
    std::uint64_t garbled = 0; // the host listened at another speed
    std::uint64_t unheard = 0; // nobody had the port open
    std::uint64_t overrun = 0; // the host did not read, and the queue was full
    std::uint64_t bytesSent = 0;
    std::uint64_t hostBytesLost = 0; // bytes of the host, sent at another baud rate
};

// A Unit served on a pseudo-terminal by a thread of its own, in real time.
//
// Every public operation may be called from any thread. Errors of making the pty are
// std::system_error.
class RunningUnit
{
public:
    // Called on the unit's own thread when the unit itself has moved the cable.
    using CableListener = std::function<void(bool pluggedIn)>;

    explicit RunningUnit(std::unique_ptr<Unit> unit);
    virtual ~RunningUnit();

    RunningUnit(const RunningUnit &) = delete;
    RunningUnit &operator=(const RunningUnit &) = delete;

    // Where the host opens it: the link if there is one, else the pty itself. Without a link the
    // path may be another after plugIn().
    std::string path() const;
    // Keeps a symbolic link at `path` pointing to the pty while plugged in. Throws
    // std::filesystem::filesystem_error if it cannot be made.
    void setLink(const std::string &path);
    void setCableListener(CableListener listener);

    void powerCycle();
    // Pulls the cable: the host's descriptors are hung up, the path is gone, the power too.
    void unplug();
    // Puts it back: a new pty, powered up.
    void plugIn();
    bool isPluggedIn() const;

    // Writes down what passes the line from now on, as soon as a host listens. Borrowed; null ends
    // it.
    void setRecorder(Recorder *recorder);

    LineCounters counters() const;
    bool isOpenedByHost() const;
    // The baud rate that the host's session showed when the unit last looked; none before the first
    // look. A session of which two have been seen is known to write at the second.
    std::optional<std::uint32_t> seenHostBaud() const;

protected:
    RunningUnit(std::unique_ptr<Unit> unit, std::unique_ptr<Pty> pty);

    Unit &unit() { return *m_unit; } // guarded by mutex()
    std::mutex &mutex() const { return m_mutex; }
    void wake() const;

private:
    struct Arrival
    {
        std::size_t bytes;
        unsigned samples;
    };

    void start();
    void run();
    void letGo(Time now);
    void serve(Time now);
    void speak(Time now);
    void hear(Time now);
    bool isHeldBack() const;
    std::optional<bool> followCable(Time now);
    void putBack(Time now);
    void count(Pty::Fate fate, const Transmission &transmission);
    void countUnread();
    void sleepUntil(Time next, int master, int events) const;
    void makeLink();
    void removeLink();
    Time clock();

    const FileDescriptor m_wake;
    mutable std::mutex m_mutex;
    // Guarded by m_mutex.
    const std::unique_ptr<Unit> m_unit;
    std::unique_ptr<Pty> m_pty; // null while unplugged
    Recorder *m_recorder = nullptr;
    CableListener m_cableListener;
    bool m_pulled = false; // the thread shall let go of m_pty
    std::condition_variable m_released;
    std::string m_link;
    LineCounters m_counters;
    std::deque<Arrival> m_arrivals; // the last ones, as many as the queue may hold
    std::chrono::steady_clock::time_point m_epoch;
    Time m_lastServed{0};

    std::atomic<bool> m_stop{false};
    std::thread m_thread; // last: everything above exists before it runs
};

} // namespace sim
