#pragma once

#include <chrono>
#include <functional>
#include <span>
#include <string>

#include "session/device.h"

namespace session {

// The baud rates that a search tries, the most likely first.
std::span<const unsigned> searchedBaudRates();

struct BaudRateSearch
{
    std::span<const unsigned> rates = searchedBaudRates();
    // For each baud rate: a device that streams is found in the first part of it, the others are
    // asked in the rest.
    std::chrono::milliseconds perRate{750};
    // Called before each trial.
    std::function<void(unsigned baud)> onTrial{};
};

// Finds the baud rate of the device at `path` by any intact packet, whatever it contains; a device
// that streams nothing is asked for its settings. Leaves the port open at the baud rate found,
// which is device.baud(); after an error it is closed. Error::NotFound if there is none.
std::error_code findBaudRate(Device &device, const std::string &path,
                             const BaudRateSearch &search = {});

} // namespace session
