#include "sim/device/imu_simulator_server.h"

namespace sim {

ImuSimulatorServer::ImuSimulatorServer(DeviceOptions options)
    : ImuSimulatorServer(std::make_unique<ImuSimulator>(std::move(options)),
                         std::make_unique<Pty>())
{
}

ImuSimulatorServer::ImuSimulatorServer(int masterFd, DeviceOptions options)
    : ImuSimulatorServer(std::make_unique<ImuSimulator>(std::move(options)),
                         std::make_unique<Pty>(FileDescriptor(masterFd)))
{
}

ImuSimulatorServer::ImuSimulatorServer(std::unique_ptr<ImuSimulator> device,
                                       std::unique_ptr<Pty> pty)
    : PtyServer(std::move(device), std::move(pty))
    , m_simulator(static_cast<ImuSimulator &>(this->device()))
{
}

std::vector<std::vector<unsigned char>> ImuSimulatorServer::receivedCommands() const
{
    return inspect([](const ImuSimulator &device) { return device.receivedCommands(); });
}

void ImuSimulatorServer::clearReceivedCommands()
{
    change([](ImuSimulator &device) { device.clearReceivedCommands(); });
}

} // namespace sim
