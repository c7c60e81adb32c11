#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "sim/line/line_observer.h"
#include "sim/line/line_options.h"
#include "sim/line/packet_delivery.h"
#include "sim/line/pty.h"
#include "sim/line/simulated_device.h"

namespace sim {

// Runs a simulated device on a pseudo-terminal in its own thread, in real time.
//
// Every public operation may be called from any thread. Throws std::system_error if the pty cannot
// be made.
class PtyServer
{
public:
    // Called on the internal thread, without a lock, after the device itself has moved the cable.
    using CableListener = std::function<void(bool pluggedIn)>;

    explicit PtyServer(std::unique_ptr<SimulatedDevice> device);
    virtual ~PtyServer();

    PtyServer(const PtyServer &) = delete;
    PtyServer &operator=(const PtyServer &) = delete;

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

    // What the line does from now on.
    void setLineOptions(const LineOptions &options);

    // The observer is borrowed; null removes it.
    void setObserver(LineObserver *observer);

    LineCounters counters() const;
    bool isOpenedByHost() const;
    // The baud rate of the host's session at the last check; none before the first check. If two
    // different baud rates were seen in a session, its bytes count as written at the second.
    std::optional<std::uint32_t> seenHostBaud() const;

protected:
    PtyServer(std::unique_ptr<SimulatedDevice> device, std::unique_ptr<Pty> pty);

    SimulatedDevice &device() { return *m_device; } // guarded by mutex()
    std::mutex &mutex() const { return m_mutex; }
    void wake() const;

private:
    void start();
    void run();
    void closeUnplugged(Time now);
    void serve(Time now);
    void transmitDue(Time now);
    void receivePending(Time now);
    bool isHeldBack() const;
    std::optional<bool> executeCableMove(Time now);
    void putBack(Time now);
    void stallOutput(Time now);
    Time nextStallChange() const;
    void sleepUntil(Time next, int master, int events) const;
    void makeLink();
    void removeLink();
    Time clock();

    const FileDescriptor m_wake;
    mutable std::mutex m_mutex;
    // Guarded by m_mutex.
    const std::unique_ptr<SimulatedDevice> m_device;
    std::unique_ptr<Pty> m_pty; // null while unplugged
    LineObserver *m_observer = nullptr;
    CableListener m_cableListener;
    bool m_pulled = false; // the thread must close m_pty
    std::condition_variable m_released;
    std::string m_link;
    LineOptions m_options;
    PacketDelivery m_delivery;
    bool m_outputStalls = false;
    std::chrono::steady_clock::time_point m_epoch;
    Time m_lastServed{0};

    std::atomic<bool> m_stop{false};
    std::thread m_thread; // last member: it uses all members above
};

} // namespace sim
