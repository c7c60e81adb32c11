#pragma once

#include "sim/Device.h"
#include "sim/Recording.h"

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace sim {

// What vornix-sim was asked to do.
struct Configuration
{
    DeviceOptions device;
    unsigned calibrationPoints = 120;
    std::vector<std::string> ports{}; // of the testbed, never empty when there is a command
    std::string link;
    bool statistics = false; // to be told at the end
    std::optional<std::chrono::milliseconds> unplugAfter;
    std::optional<std::chrono::milliseconds> returnAfter; // counted from the unplugging
    std::string recordTo;                                 // empty: no recording
    std::string replayFrom;                               // empty: a simulated unit
    std::optional<double> replaySpeed = 1.0;              // none: as fast as the host reads
    std::vector<std::string> unitOptions;                 // as given, those of the unit
    std::vector<std::string> faultOptions;                // as given, with their values
    std::vector<std::string> command;                     // empty: serve a pty
};

struct CommandLine
{
    enum class Action { Run, ShowHelp, ShowVersion, Refuse };
    Action action = Action::Run;
    Configuration configuration;
    std::string problem; // what is wrong, for Refuse
};

// `arguments` without the program's name. Pure.
CommandLine parseCommandLine(std::span<const std::string> arguments);
std::string helpText();

// What a recording of the configured unit says about it.
RecordingHeader recordingHeader(const Configuration &configuration);

} // namespace sim
