#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "protocol/fresh_flags.h"

// The latest value of every data block and device setting, exactly as received, and flags for the
// new ones. Values stay after a disconnect. Only received packets change them, except that
// connect() sets the baud rate.
struct SampleStore
{
    static constexpr std::size_t kCalibrationCapacity = 1024;

    // Streamed blocks: guarded by the driver's lock.
    std::array<float, 4> quaternion{0, 0, 0, 1}; // x, y, z, w
    std::array<float, 3> euler{};                // roll, pitch, yaw
    std::array<float, 3> accelerations{};
    std::array<float, 3> rates{};
    std::array<float, 3> magneticField{};
    std::array<float, 3> magneticFieldRaw{};
    std::array<float, 3> covariances{};
    float altitude = 0;

    // Calibration replies: guarded by the driver's lock.
    std::array<float, 3> magneticBias{};
    std::array<float, 9> magneticMatrix{};
    std::array<float, kCalibrationCapacity> calibration{};
    int calibrationFloatCount = 0;

    // Settings replies: atomic, because a command that waits for its echo reads them without the
    // lock.
    std::atomic<std::uint32_t> baudRate{0};
    std::atomic<std::uint16_t> dataRate{0};
    std::atomic<std::uint16_t> outputs{0};
    std::atomic<std::uint16_t> firmwareVersion{0};
    std::atomic<std::uint16_t> hardwareVersion{0};
    std::atomic<std::uint32_t> serialNumber{0};
    std::atomic<std::uint32_t> calibrationDataSize{0};
    std::atomic<float> zeroThreshold{0};

    FreshFlags fresh;
};
