#pragma once

#include <array>
#include <cstdint>

namespace sim {

// A magnetometer calibration in its wire form: corrected = U (raw + bias), the nine floats of the
// matrix being U column by column.
struct MagneticCalibration
{
    std::array<float, 3> bias{};
    // A new unit knows only the size of the earth's field (48 uT), nothing of what surrounds it.
    std::array<float, 9> matrix{1 / 48.f, 0, 0, 0, 1 / 48.f, 0, 0, 0, 1 / 48.f};

    bool operator==(const MagneticCalibration &) const = default;
};

// Everything a host can set. The default is what the unit leaves the factory with.
struct Settings
{
    std::uint32_t baud = 115200;
    std::uint16_t rateHz = 100;
    std::uint16_t outputs = 0x00FF;
    float zeroThreshold = 0; // rad/s: slower turning is reported as none
    MagneticCalibration magnetic;

    bool operator==(const Settings &) const = default;
};

// The settings at work and those that the unit wakes up with.
struct Memory
{
    Settings working;
    Settings stored;

    void save() { stored = working; }
    // What is at work stays so until the power is switched off.
    void storeFactorySettings() { stored = Settings{}; }
    void powerUp() { working = stored; }
};

} // namespace sim
