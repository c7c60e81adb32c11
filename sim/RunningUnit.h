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

// Counts packets of the device by their outcome on the line.
struct LineCounters
{
    std::uint64_t sent = 0;      // intact in the host's input queue
    std::uint64_t samples = 0;   // data packets among `sent`
    std::uint64_t unread = 0;    // `samples` that the host had not read completely when it closed
    std::uint64_t skipped = 0;   // data packets dropped because the transmit buffer was full
    std::uint64_t garbled = 0;   // the host used another baud rate
    std::uint64_t unheard = 0;   // no host had the port open
    std::uint64_t overrun = 0;   // the host did not read, and the queue was full
    std::uint64_t bytesSent = 0; // bytes of the `sent` packets
    std::uint64_t hostBytesLost = 0; // bytes that the host sent at another baud rate
};

// Runs a Unit on a pseudo-terminal in its own thread, in real time.
//
// Every public operation may be called from any thread. Throws std::system_error if the pty cannot
// be made.
class RunningUnit
{
public:
    // Called on the internal thread, without a lock, after the Unit itself has moved the cable.
    using CableListener = std::function<void(bool pluggedIn)>;

    explicit RunningUnit(std::unique_ptr<Unit> unit);
    virtual ~RunningUnit();

    RunningUnit(const RunningUnit &) = delete;
    RunningUnit &operator=(const RunningUnit &) = delete;

    // The path that the host opens: the link if there is one, else the pty itself, empty while that
    // is unplugged. Without a link the path may change at plugIn().
    std::string path() const;
    // Keeps a symbolic link at `path` pointing to the pty while plugged in. Throws
    // std::filesystem::filesystem_error if it cannot be made.
    void setLink(const std::string &path);
    void setCableListener(CableListener listener);

    void powerCycle();
    // Unplugs the cable: hangs up the host's descriptors, removes the path, cuts the power.
    void unplug();
    // Plugs the cable in: makes a new pty and switches the power on.
    void plugIn();
    bool isPluggedIn() const;

    // Records the traffic of the line, beginning when a host listens. The recorder is borrowed;
    // null stops recording.
    void setRecorder(Recorder *recorder);

    LineCounters counters() const;
    bool isOpenedByHost() const;
    // The baud rate of the host's session at the last check; none before the first check. If two
    // different baud rates were seen in a session, its bytes count as written at the second.
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
    bool m_pulled = false; // the thread must close m_pty
    std::condition_variable m_released;
    std::string m_link;
    LineCounters m_counters;
    std::deque<Arrival> m_arrivals; // the most recent ones; more than the queue can hold
    std::chrono::steady_clock::time_point m_epoch;
    Time m_lastServed{0};

    std::atomic<bool> m_stop{false};
    std::thread m_thread; // last member: it uses all members above
};

} // namespace sim
