#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>

#include <QTest>

#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fixtures/wait_limit.h"

namespace dialog_test {

using Bytes = std::vector<unsigned char>;
using Commands = std::vector<Bytes>;

// The one driver of a test program, connected to a simulated device. Every test gets a new device.
class DeviceFixture
{
public:
    // Called before every sleep of a waiting command, on that command's thread.
    std::function<void()> onSleep = [] {};
    // Divisor for the sleeps of the commands.
    int haste = 1;

    imu *driver() const { return m_driver.get(); }
    sim::ImuSimulatorServer &device() const { return *m_device; }

    // Replaces the device and connects to it at its baud rate.
    bool connectTo(const sim::DeviceOptions &options)
    {
        disconnect();
        m_device = std::make_unique<sim::ImuSimulatorServer>(options);
        m_lastCleared.clear();
        return connect();
    }
    bool connect()
    {
        const auto baud = m_device->inspect(
            [](const sim::ImuSimulator &simulator) { return simulator.lineBaud(); });
        m_driver->connect(m_device->path(), static_cast<int>(baud), 8, 0, 1);
        return streams();
    }
    void disconnect()
    {
        m_driver->disconnect();
        onSleep = [] {};
        haste = 1;
    }

    // Whether a quaternion sent after this call arrives.
    bool streams() const
    {
        m_driver->getQuaternion();
        return QTest::qWaitFor([this] { return !m_driver->getQuaternion().empty(); }, kWaitLimitMs);
    }

    template <typename Change>
    void change(Change change)
    {
        m_device->change([&](sim::ImuSimulator &simulator) { change(simulator); });
    }
    sim::DeviceMemory memory() const
    {
        return m_device->inspect(
            [](const sim::ImuSimulator &simulator) { return simulator.memory(); });
    }
    // The commands that the device received since clearCommands(), in order. A command that repeats
    // the one before it is left out: the number of repetitions depends on the driver's retries and
    // the machine's speed, and the last one may arrive after the driver has its answer.
    Commands commands() const
    {
        Commands all = m_device->receivedCommands();
        all.insert(all.begin(), m_lastCleared);
        all.erase(std::unique(all.begin(), all.end()), all.end());
        all.erase(all.begin());
        return all;
    }
    void clearCommands()
    {
        const Commands all = m_device->receivedCommands();
        m_lastCleared = all.empty() ? Bytes{} : all.back();
        m_device->clearReceivedCommands();
    }
    int count(const Bytes &command) const
    {
        const Commands all = m_device->receivedCommands();
        return static_cast<int>(std::count(all.begin(), all.end(), command));
    }

private:
    static boost::shared_ptr<imu> startedDriver(DeviceFixture &self)
    {
        auto driver = boost::make_shared<imu>(nullptr);
        driver->setSleeper([&self](std::chrono::milliseconds duration) {
            self.onSleep();
            std::this_thread::sleep_for(std::chrono::microseconds(duration) / self.haste);
        });
        driver->start();
        return driver;
    }

    boost::shared_ptr<imu> m_driver = startedDriver(*this);
    std::unique_ptr<sim::ImuSimulatorServer> m_device;
    Bytes m_lastCleared;
};

// A device that reports and uses these settings.
inline sim::DeviceOptions deviceWith(std::uint32_t baud, std::uint16_t rateHz,
                                     std::uint16_t outputs)
{
    sim::DeviceOptions options;
    options.settings.baud = baud;
    options.settings.rateHz = rateHz;
    options.settings.outputs = outputs;
    return options;
}

// Commands as sent on the line.
inline const Bytes kGetSettings{0x53, 0x43, 0x0C, 0x00, 0x0C, 0x07,
                                0x08, 0x09, 0x10, 0x11, 0x45, 0x00};

} // namespace dialog_test
