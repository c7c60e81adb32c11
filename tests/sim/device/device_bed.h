#pragma once

#include <chrono>
#include <vector>

#include "sim/device/imu_simulator.h"

using namespace std::chrono_literals;
using Bytes = std::vector<unsigned char>;

inline const Bytes kGet{0x53, 0x43, 0x0C, 0x00, 0x0C, 0x07, 0x08, 0x09, 0x10, 0x11, 0x45, 0x00};
inline const Bytes kSetRate200{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x08,
                               0xC8, 0x00, 0x00, 0x00, 0xDD, 0x00};
inline const Bytes kSetBaud921600{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x07,
                                  0x00, 0x10, 0x0E, 0x00, 0x32, 0x00};
inline const Bytes kSave{0x53, 0x43, 0x09, 0x00, 0x0B, 0xFF, 0x00, 0x0A, 0x01};
inline const Bytes kReset{0x53, 0x43, 0x09, 0x00, 0x0A, 0xFF, 0x00, 0x09, 0x01};
inline const Bytes kStart{0x53, 0x43, 0x07, 0x00, 0x12, 0x12, 0x00};
inline const Bytes kStop{0x53, 0x43, 0x07, 0x00, 0x13, 0x13, 0x00};

inline const Bytes kRate200{0x53, 0x47, 0x09, 0x00, 0x08, 0xC8, 0x00, 0xD0, 0x00};
inline const Bytes kRate201{0x53, 0x47, 0x09, 0x00, 0x08, 0xC9, 0x00, 0xD1, 0x00};
inline const Bytes kRate100{0x53, 0x47, 0x09, 0x00, 0x08, 0x64, 0x00, 0x6C, 0x00};

// A device with a simulated clock; without a stream unless outputs are given.
class DeviceBed
{
public:
    explicit DeviceBed(const sim::Faults &faults = {}, std::uint16_t outputs = 0)
        : m_device(options(faults, outputs))
    {
    }
    explicit DeviceBed(const sim::DeviceOptions &options)
        : m_device(options)
    {
    }

    sim::ImuSimulator *operator->() { return &m_device; }

    void send(const Bytes &command) { m_device.receive(command, m_device.lineBaud(), m_now); }

    // Advances the clock and returns the bytes that the device sends in this time.
    Bytes receive(sim::Time passing)
    {
        m_now += passing;
        Bytes all;
        while (const auto out = m_device.transmit(m_now))
            all.insert(all.end(), out->bytes.begin(), out->bytes.end());
        return all;
    }

    // Advances the clock only; the caller takes the bytes.
    void pass(sim::Time passing) { m_now += passing; }

    Bytes ask(const Bytes &command, sim::Time timeout = 50ms)
    {
        send(command);
        return receive(timeout);
    }

    void powerCycle()
    {
        m_device.powerCycle(m_now);
        receive(200ms);
    }

    sim::Time now() const { return m_now; }
    const sim::DeviceSettings &working() const { return m_device.memory().active; }

private:
    static sim::DeviceOptions options(const sim::Faults &faults, std::uint16_t outputs)
    {
        sim::DeviceOptions options;
        options.settings.outputs = outputs;
        options.faults = faults;
        return options;
    }

    sim::ImuSimulator m_device;
    sim::Time m_now = 1s;
};
