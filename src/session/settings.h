#pragma once

#include <array>
#include <cstdint>

namespace session {

// What the device reports about itself: the settings in use, which may differ from those stored in
// its flash.
struct Settings
{
    std::uint32_t baud = 0;
    std::uint16_t rateHz = 0;
    std::uint16_t outputs = 0; // mask, bits protocol::OUT_*
    std::uint16_t firmwareVersion = 0;
    std::uint16_t hardwareVersion = 0;
    std::uint32_t serialNumber = 0;

    bool operator==(const Settings &) const = default;
};

// A magnetometer calibration: calibrated = matrix * (raw + bias).
struct MagneticCalibration
{
    std::array<float, 3> bias{};
    std::array<float, 9> matrix{}; // column by column, as on the line

    bool operator==(const MagneticCalibration &) const = default;
};

} // namespace session
