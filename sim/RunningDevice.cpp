#include "sim/RunningDevice.h"

namespace sim {

RunningDevice::RunningDevice(DeviceOptions options)
    : RunningDevice(std::make_unique<Device>(std::move(options)), std::make_unique<Pty>())
{
}

RunningDevice::RunningDevice(int masterFd, DeviceOptions options)
    : RunningDevice(std::make_unique<Device>(std::move(options)),
                    std::make_unique<Pty>(FileDescriptor(masterFd)))
{
}

RunningDevice::RunningDevice(std::unique_ptr<Device> device, std::unique_ptr<Pty> pty)
    : RunningUnit(std::move(device), std::move(pty))
    , m_device(static_cast<Device &>(unit()))
{
}

std::vector<std::vector<unsigned char>> RunningDevice::receivedCommands() const
{
    return inspect([](const Device &device) { return device.receivedCommands(); });
}

void RunningDevice::clearReceivedCommands()
{
    change([](Device &device) { device.clearReceivedCommands(); });
}

} // namespace sim
