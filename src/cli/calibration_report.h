#pragma once

#include <array>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "fit/calibration.h"
#include "session/settings.h"

namespace cli {

// The calibration as the device takes it, the same numbers that the window sends.
session::MagneticCalibration toDevice(const ellipsoid::Correction &correction);

// Everything that is known about a calibration. The matrix is row by row.
nlohmann::ordered_json toJson(const ellipsoid::Calibration &calibration);

// The verdict, its reasons and the numbers, for people.
std::string toText(const ellipsoid::Calibration &calibration);

// One short line for the progress while the device is turned.
std::string toLine(const ellipsoid::Calibration &calibration);

} // namespace cli
