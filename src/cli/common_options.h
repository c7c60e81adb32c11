#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace cli {

// Options that several commands have.
struct CommonOptions
{
    std::vector<std::string> ports; // as given: "ttyUSB0" or a path
    bool all = false;               // all USB serial ports
    std::optional<unsigned> baud;   // found if not given
    std::optional<double> timeoutSeconds;
    bool json = false;
    bool quiet = false;
};

// Each adds the options to a command.
void addLineOptions(CLI::App &command, CommonOptions &options); // --baud, --timeout
void addPortOption(CLI::App &command, CommonOptions &options);  // [PORT], --baud, --timeout
void addPortsOption(CLI::App &command, CommonOptions &options); // the same with --all
void addJsonOption(CLI::App &command, CommonOptions &options);
void addQuietOption(CLI::App &command, CommonOptions &options);

} // namespace cli
