#include "sim/cli/options.h"

#include <algorithm>
#include <iostream>

#include "sim/cli/option_values.h"

namespace sim {

namespace {

// The exit status that shells use for usage errors.
constexpr int kUsageError = 2;

// Omits the parser's notes on occurrences and exclusions, because the option texts contain them.
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter() { column_width(30); }

    std::string make_usage(const CLI::App * /*app*/, std::string /*name*/) const override
    {
        return "Usage: vornix-sim [OPTION...]\n"
               "  or:  vornix-sim [OPTION...] -- COMMAND [ARGUMENT...]\n";
    }
    std::string make_option_opts(const CLI::Option *option) const override
    {
        const std::string value = option->get_type_name();
        return value.empty() ? "" : " " + value;
    }
};

} // namespace

Options::Options()
    : m_app(std::make_unique<CLI::App>(
          "A simulated inertial measurement unit. Alone it serves a pseudo-terminal, prints\n"
          "its path and runs until interrupted. With COMMAND it is a USB serial adapter that\n"
          "only COMMAND can open, and ends with it and its exit status.\n\n"
          "SIGHUP switches its power off and on; SIGUSR1 pulls the cable or puts it back."))
{
    m_app->formatter(std::make_shared<HelpFormatter>());
    m_app->set_version_flag("--version", "vornix-sim " VORNIX_VERSION, "Print the version");
    m_app->set_help_flag("--help,-h", "Print this text");
    addDeviceOptions();
    addLineOptions();
    addAdapterOptions();
    addRecordingOptions();
    addFaultOptions();
}

Options::~Options() = default;

CLI::App &Options::optionsOf(const std::string &group)
{
    m_app->option_defaults()->group(group);
    return *m_app;
}

void Options::addRecordingOptions()
{
    Configuration &c = m_configuration;
    CLI::App &app = optionsOf(kRecordingGroup);
    const auto nonEmpty = [](const std::string &file) {
        return file.empty() ? std::string("no file name") : std::string();
    };
    app.add_option("--record", c.recordTo, "Record the line, from when a host has opened it")
        ->check(nonEmpty)
        ->type_name("FILE");
    auto *replay = app.add_option("--replay", c.replayFrom, "Replay a recorded device to the host")
                       ->check(nonEmpty)
                       ->excludes("--record")
                       ->type_name("FILE");
    app.add_option_function<std::string>(
           "--speed",
           [&c](const std::string &value) {
               c.replaySpeed.reset();
               if (value == "max")
                   return;
               c.replaySpeed = number<double>("--speed", value);
               if (!(*c.replaySpeed >= 0.01 && *c.replaySpeed <= 1000))
                   refuse("--speed", value);
           },
           "Replay so many times as fast, 0.01 to 1000; max: as fast as the host reads [1]")
        ->needs(replay)
        ->type_name("N");
}

const Configuration &Options::parse(std::span<const std::string> arguments)
{
    const auto separator = std::find(arguments.begin(), arguments.end(), "--");
    // The parser takes the last argument from the end of the vector first.
    m_app->parse(std::vector<std::string>(std::make_reverse_iterator(separator),
                                          std::make_reverse_iterator(arguments.begin())));
    if (separator != arguments.end())
        m_configuration.command.assign(separator + 1, arguments.end());
    if (separator != arguments.end() && m_configuration.command.empty())
        throw CLI::ValidationError("no COMMAND after --");
    check();
    finishLine();
    m_configuration.faults = asGiven(kFaultGroup);
    if (!m_configuration.command.empty() && m_configuration.ports.empty())
        m_configuration.ports.emplace_back("ttyUSB0");
    return m_configuration;
}

// Checks rules that involve several options. They are not exclusions of the parser, because it
// would list these for each option and make the help text too long.
void Options::check() const
{
    const Configuration &c = m_configuration;
    const bool launches = !c.command.empty();
    if (!launches && !c.ports.empty())
        throw CLI::ValidationError("--port", "needs a COMMAND");
    if (launches && !c.link.empty())
        throw CLI::ValidationError("--link", "is for serving without COMMAND");
    if (!c.recordTo.empty() && c.ports.size() > 1)
        throw CLI::ValidationError("--record", "is for a single device");
    for (const std::string &group : {kDeviceGroup, kAdapterGroup, kFaultGroup}) {
        const std::string given = firstGiven(group);
        if (!c.replayFrom.empty() && !given.empty())
            throw CLI::ValidationError(given, "is for a device that is not replayed");
    }
}

int Options::report(const CLI::ParseError &error) const
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
        return m_app->exit(error);
    std::cerr << "vornix-sim: " << error.what() << "\nTry vornix-sim --help.\n";
    return kUsageError;
}

std::string Options::help() const
{
    return m_app->help();
}

std::string Options::firstGiven(const std::string &group) const
{
    for (const CLI::Option *option : m_app->get_options()) {
        if (option->get_group() == group && option->count() > 0)
            return option->get_name();
    }
    return {};
}

std::string Options::asGiven(const std::string &group) const
{
    std::string text;
    for (const CLI::Option *option : m_app->get_options()) {
        if (option->get_group() != group)
            continue;
        for (const std::string &value : option->results()) {
            const bool isFlag = option->get_expected_max() == 0;
            text.append(text.empty() ? "" : " ").append(option->get_name());
            text.append(isFlag ? "" : " ").append(isFlag ? "" : value);
        }
    }
    return text;
}

recording::RecordingHeader recordingHeader(const Configuration &configuration)
{
    const DeviceOptions &options = configuration.device;
    const auto motion = std::find_if(motions().begin(), motions().end(), [&](const auto &choice) {
        return choice.second == options.motion;
    });
    return {.baud = ImuSimulator(options).lineBaud(),
            .rateHz = options.settings.rateHz,
            .outputs = options.settings.outputs,
            .zeroThreshold = options.settings.zeroThreshold,
            .motion = motion->first,
            .seed = options.seed,
            .serialNumber = options.serialNumber,
            .faults = configuration.faults.empty() ? "none" : configuration.faults};
}

} // namespace sim
