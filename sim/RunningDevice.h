#pragma once

#include "sim/Device.h"
#include "sim/RunningUnit.h"

#include <utility>
#include <vector>

namespace sim {

// A Device served on a pseudo-terminal by a thread of its own, in real time. As for RunningUnit,
// every public operation may be called from any thread.
class RunningDevice : public RunningUnit
{
public:
    explicit RunningDevice(DeviceOptions options = {});
    // On the pty of this master, whose ownership is taken.
    RunningDevice(int masterFd, DeviceOptions options);

    // Access to the unit while it runs; between calls it lives on.
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

    Device &m_device; // the unit that the base owns; guarded by mutex()
};

} // namespace sim
