#pragma once

// Roll, pitch and yaw in degrees: rotations about X, Y and Z, applied in the order yaw, pitch,
// roll (Z-Y-X, aerospace convention). Roll and yaw lie in [-180, 180], pitch in [-90, 90].
struct RollPitchYaw
{
    float rollDeg = 0.0F;
    float pitchDeg = 0.0F;
    float yawDeg = 0.0F;
};

// The attitude of the quaternion (x, y, z, w), scalar last, normalised first. Single precision up
// to the arc tangents. Nothing is clamped: if rounding makes sin(pitch) exceed 1, pitch is NaN. A
// null quaternion has no attitude; callers must not pass one. Pure: any thread.
RollPitchYaw rollPitchYaw(float x, float y, float z, float w);
