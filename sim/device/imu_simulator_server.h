#pragma once

#include <utility>
#include <vector>

#include "sim/device/imu_simulator.h"
#include "sim/line/pty_server.h"

namespace sim {

// Runs a Device on a pseudo-terminal in its own thread, in real time. As for PtyServer, every
// public operation may be called from any thread.
class ImuSimulatorServer : public PtyServer
{
public:
    explicit ImuSimulatorServer(DeviceOptions options = {});
    // Runs on the pty of this master. Takes ownership of the descriptor.
    ImuSimulatorServer(int masterFd, DeviceOptions options);

    // Calls `function` with the device while the mutex is locked. The device continues to run
    // between two calls.
    template <typename Function>
    auto inspect(Function function) const
    {
        const std::lock_guard lock(mutex());
        return function(std::as_const(m_simulator));
    }
    template <typename Function>
    auto change(Function function)
    {
        struct Wake
        {
            ImuSimulatorServer &self;
            ~Wake() { self.wake(); }
        } const afterwards{*this};
        const std::lock_guard lock(mutex());
        return function(m_simulator);
    }

    std::vector<std::vector<unsigned char>> receivedCommands() const;
    void clearReceivedCommands();

private:
    ImuSimulatorServer(std::unique_ptr<ImuSimulator> device, std::unique_ptr<Pty> pty);

    ImuSimulator &m_simulator; // owned by the base class; guarded by mutex()
};

} // namespace sim
