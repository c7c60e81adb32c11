#pragma once

#include <cstdint>

#include <QTest>

#include "sim/device/imu_simulator_server.h"
#include "tests/sim/host.h"

// A simulated device that streams only while the test wants samples, so that the test can count
// the bytes on the line.

inline const Host::Bytes kStop{0x53, 0x43, 0x07, 0x00, 0x13, 0x13, 0x00};
inline const Host::Bytes kStopped{0x53, 0x47, 0x08, 0x00, 0x13, 0x01, 0x14, 0x00};

// A device that streams nothing before setOutputs().
inline sim::DeviceOptions quiet(std::uint32_t baud = 115200)
{
    sim::DeviceOptions options;
    options.settings.baud = baud;
    options.settings.outputs = 0;
    return options;
}

inline void setOutputs(sim::ImuSimulatorServer &device, std::uint16_t outputs)
{
    device.change([outputs](sim::ImuSimulator &simulator) {
        sim::DeviceSettings settings = simulator.memory().active;
        settings.outputs = outputs;
        simulator.setSettings(settings);
    });
}

// Stops the stream and waits until every sample that was due has left the line, intact or not.
inline void silence(sim::ImuSimulatorServer &device)
{
    setOutputs(device, 0);
    QVERIFY(eventually([&] {
        const auto due =
            device.inspect([](const auto &simulator) { return simulator.counters().samplesSent; });
        const sim::LineCounters line = device.counters();
        return line.sent + line.corrupted + line.noHost + line.overrun == due;
    }));
}

// Waits until the device has observed that the host uses this baud rate; false after kWaitLimit.
inline bool waitForHostBaud(const sim::ImuSimulatorServer &device, std::uint32_t baud)
{
    return eventually([&] { return device.seenHostBaud() == baud; });
}
