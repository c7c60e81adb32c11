#include "cli/common_options.h"

#include <CLI/CLI.hpp>

namespace cli {

namespace {

constexpr double kLongestTimeout = 3600;

std::string notTooLong(double seconds)
{
    // Not the parser's range check, because that accepts NaN.
    return seconds > 0 && seconds <= kLongestTimeout ? "" : "out of range";
}

} // namespace

void addLineOptions(CLI::App &command, CommonOptions &options)
{
    command.add_option("--baud", options.baud, "Baud rate of the device; found if not given")
        ->check(CLI::Range(1U, 4'000'000U).description(""))
        ->type_name("N");
    command
        .add_option_function<double>(
            "--timeout",
            [&options](double seconds) {
                if (const std::string problem = notTooLong(seconds); !problem.empty())
                    throw CLI::ValidationError("--timeout", problem);
                options.timeoutSeconds = seconds;
            },
            "Time for each answer of the device; in a search, for each baud rate [2; 0.75]")
        ->type_name("SECONDS");
}

void addPortOption(CLI::App &command, CommonOptions &options)
{
    command.add_option("PORT", options.ports, "Such as ttyUSB0; not needed if there is only one")
        ->expected(0, 1)
        ->type_name("");
    addLineOptions(command, options);
}

void addPortsOption(CLI::App &command, CommonOptions &options)
{
    auto *ports = command
                      .add_option("PORT", options.ports,
                                  "Such as ttyUSB0; not needed if there is only one; several are "
                                  "possible")
                      ->type_name("");
    command.add_flag("--all", options.all, "All USB serial ports")->excludes(ports);
    addLineOptions(command, options);
}

void addJsonOption(CLI::App &command, CommonOptions &options)
{
    command.add_flag("--json", options.json, "Print JSON");
}

void addQuietOption(CLI::App &command, CommonOptions &options)
{
    command.add_flag("--quiet", options.quiet, "Print no notes on standard error");
}

} // namespace cli
