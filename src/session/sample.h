#pragma once

#include <array>
#include <chrono>
#include <cstdint>

namespace session {

// When something arrived, by both clocks of the host: UTC to compare with other computers, the
// monotonic one for intervals.
struct ReceiveTime
{
    std::chrono::sys_time<std::chrono::nanoseconds> utc;
    std::chrono::steady_clock::time_point monotonic;

    static ReceiveTime now()
    {
        return {std::chrono::system_clock::now(), std::chrono::steady_clock::now()};
    }
};

// One data packet. Values are in the device's units (session/outputs.h), exactly as received.
struct Sample
{
    // Of the packet's first byte, estimated from the time of the read and the baud rate.
    ReceiveTime time;
    std::uint32_t serialNumber = 0; // of the device; 0 until it has reported one
    // The blocks that this packet contains, as bits of the outputs mask (protocol::OUT_RATES ...).
    // The values of all others are meaningless.
    std::uint16_t blocks = 0;

    std::array<float, 4> quaternion{}; // x, y, z, w; rotates body into world coordinates
    std::array<float, 3> euler{};      // roll, pitch, yaw
    std::array<float, 3> rates{};      // body frame, like the next three
    std::array<float, 3> accelerations{};
    std::array<float, 3> magneticField{};    // calibrated
    std::array<float, 3> magneticFieldRaw{}; // of the sensor, uncalibrated
    std::array<float, 3> covariances{};
    float pressure = 0;

    bool has(std::uint16_t block) const { return (blocks & block) != 0; }
};

} // namespace session
