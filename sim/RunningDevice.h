#pragma once

#include "sim/Device.h"
#include "sim/RunningUnit.h"

#include <utility>
#include <vector>

namespace sim {

// Runs a Device on a pseudo-terminal in its own thread, in real time. As for RunningUnit, every
// public operation may be called from any thread.
class RunningDevice : public RunningUnit
{
public:
    explicit RunningDevice(DeviceOptions options = {});
    // Runs on the pty of this master. Takes ownership of the descriptor.
    RunningDevice(int masterFd, DeviceOptions options);

    // Calls `function` with the device while the mutex is locked. The device continues to run
    // between two calls.
    template <typename Function>
    auto inspect(Function function) const
    {
        const std::lock_guard lock(mutex());
        return function(std::as_const(m_device));
    }
    template <typename Function>
    auto change(Function function)
    {
        struct Wake
        {
            RunningDevice &self;
            ~Wake() { self.wake(); }
        } const afterwards{*this};
        const std::lock_guard lock(mutex());
        return function(m_device);
    }

    std::vector<std::vector<unsigned char>> receivedCommands() const;
    void clearReceivedCommands();

private:
    RunningDevice(std::unique_ptr<Device> device, std::unique_ptr<Pty> pty);

    Device &m_device; // owned by the base class; guarded by mutex()
};

} // namespace sim
