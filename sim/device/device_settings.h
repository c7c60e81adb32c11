#pragma once

#include <array>
#include <cstdint>

namespace sim {

// A magnetometer calibration in its wire form: corrected = U (raw + bias), the nine floats of the
// matrix being U column by column.
struct MagneticCalibration
{
    std::array<float, 3> bias{};
    // Factory calibration: scales by the magnitude of the earth's field (48 uT), without a
    // correction for iron.
    std::array<float, 9> matrix{1 / 48.0F, 0, 0, 0, 1 / 48.0F, 0, 0, 0, 1 / 48.0F};

    bool operator==(const MagneticCalibration &) const = default;
};

// Everything a host can set. The defaults are the factory settings.
struct DeviceSettings
{
    std::uint32_t baud = 115200;
    std::uint16_t rateHz = 100;
    std::uint16_t outputs = 0x00FF;
    float zeroThreshold = 0; // rad/s: slower rotation is reported as zero
    MagneticCalibration magnetic;

    bool operator==(const DeviceSettings &) const = default;
};

// The working settings, and the stored ones that become the working ones at power-up.
struct DeviceMemory
{
    DeviceSettings active;
    DeviceSettings flash;

    void save() { flash = active; }
    // The working settings stay unchanged until the next power-up.
    void storeFactorySettings() { flash = DeviceSettings{}; }
    void powerUp() { active = flash; }
};

} // namespace sim
