#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recording/recording.h"
#include "sim/device/imu_simulator.h"
#include "sim/line/line_options.h"

namespace CLI {
class App;
class ParseError;
} // namespace CLI

namespace sim {

// What vornix-sim does in this run.
struct Configuration
{
    DeviceOptions device;
    LineOptions line;
    bool easy = false; // the options that are not given have kind defaults
    unsigned calibrationPoints = 120;
    std::optional<std::size_t> calibrationBytes; // none: whole pages
    std::vector<std::string> ports{};            // of the testbed; not empty if there is a command
    std::string link;
    bool statistics = false; // printed at the end
    std::optional<std::chrono::milliseconds> unplugAfter;
    std::optional<std::chrono::milliseconds> returnAfter; // counted from the unplugging
    std::string recordTo;                                 // empty: no recording
    std::string replayFrom;                               // empty: a simulated device
    std::optional<double> replaySpeed = 1.0;              // none: as fast as the host reads
    std::string faults;                                   // the fault options as given
    std::vector<std::string> command;                     // empty: serve a pty
};

// The options of vornix-sim. Their help text is the source of the manual page.
class Options
{
public:
    Options();
    ~Options();

    // `arguments` excludes the program name. Call once per object. Throws CLI::ParseError for
    // invalid arguments, and also for --help and --version.
    const Configuration &parse(std::span<const std::string> arguments);
    // Prints help and version on standard output, errors on standard error. Returns the exit
    // status.
    int report(const CLI::ParseError &error) const;

    std::string help() const;

private:
    // Returns the parser; options added next belong to this group of the help text.
    CLI::App &optionsOf(const std::string &group);
    void addDeviceOptions();
    void addLineOptions();
    void addAdapterOptions();
    void addTimes(const std::string &name, const char *help, TimeRange &times,
                  const TimeRange &strict);
    void finishLine();
    void addRecordingOptions();
    void addFaultOptions();
    void check() const;
    std::string firstGiven(const std::string &group) const;
    std::string asGiven(const std::string &group) const;

    std::unique_ptr<CLI::App> m_app;
    Configuration m_configuration;
    std::function<AdapterModel(Time)> m_adapter;
    int m_latencyMs = 1;
    // By option: gives the kind default to the configuration.
    std::map<std::string, std::function<void()>> m_kind;
};

// The recording header for the configured device.
recording::RecordingHeader recordingHeader(const Configuration &configuration);

} // namespace sim
