#pragma once

#include <cstddef>
#include <string>

class imu;

// Calls the operation of the driver that `request` names, "setDataRate 200" or "saveSettings", and
// returns its result as text: "true", "false" or the values read. Throws std::invalid_argument for
// an unknown name.
std::string perform(imu &driver, const std::string &request);

// The values with nine digits each, which identify every float exactly; separated by blanks.
std::string valuesText(const float *values, std::size_t count);
