#include "sim/options.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <functional>
#include <iostream>
#include <map>
#include <string_view>

#include <CLI/CLI.hpp>

#include "driver/protocol.h"

namespace sim {

namespace {

using std::chrono::milliseconds;

// The exit status that shells use for usage errors.
constexpr int kUsageError = 2;
constexpr double kLongestWait = 1e6;

const std::string kDeviceGroup = "The device";
const std::string kLineGroup = "The line";
const std::string kRecordingGroup = "Recordings";
const std::string kFaultGroup = "Faults (CODE is a name such as DATA_RATE, or its number)";

const std::map<std::string, Motion> kMotions{{"still", Motion::Still},
                                             {"spin", Motion::Spin},
                                             {"tumble", Motion::Tumble},
                                             {"hand", Motion::Hand}};

const std::map<std::string, ReplyShape> kReplyShapes{{"whole", ReplyShape::Whole},
                                                     {"split", ReplyShape::Split},
                                                     {"broken", ReplyShape::Broken},
                                                     {"joined", ReplyShape::Joined}};

constexpr std::array<const char *, protocol::kBlockCodeCount> kCodeNames{"RATES",
                                                                         "ACCELERATIONS",
                                                                         "QUATERNION",
                                                                         "ALTITUDE",
                                                                         "COVARIANCES",
                                                                         "EULER",
                                                                         "MAGNETIC_FIELD",
                                                                         "BAUD_RATE",
                                                                         "DATA_RATE",
                                                                         "OUTPUTS",
                                                                         "FACTORY_RESET",
                                                                         "SAVE_SETTINGS",
                                                                         "GET",
                                                                         "SET",
                                                                         "MAGNETIC_FIELD_RAW",
                                                                         "MAG_CALIBRATION",
                                                                         "VERSIONS",
                                                                         "SERIAL_NUMBER",
                                                                         "START_CALIBRATION",
                                                                         "STOP_CALIBRATION",
                                                                         "CALIBRATION_DATA",
                                                                         "CALIBRATION_DATA_SIZE",
                                                                         "RESERVED_22",
                                                                         "ZERO_THRESHOLD"};

[[noreturn]] void refuse(const std::string &option, const std::string &value)
{
    throw CLI::ValidationError(option, "bad value \"" + value + "\"");
}

template <typename T>
T number(const std::string &option, const std::string &text)
{
    T value{};
    const char *const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end)
        refuse(option, text);
    return value;
}

// "DATA_RATE", "data_rate" or "8".
unsigned char blockCode(const std::string &option, const std::string &text)
{
    std::string name = text;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const auto named = std::find(kCodeNames.begin(), kCodeNames.end(), name);
    const auto code = named != kCodeNames.end() ? named - kCodeNames.begin()
                                                : number<std::ptrdiff_t>(option, text);
    if (code < 0 || code >= protocol::kBlockCodeCount)
        refuse(option, text);
    return static_cast<unsigned char>(code);
}

// "CODE:VALUE", or "CODE" alone if there is a default.
std::pair<unsigned char, int> codeAndValue(const std::string &option, const std::string &text,
                                           std::optional<int> defaultValue)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos && !defaultValue)
        refuse(option, text);
    const int value =
        colon == std::string::npos ? *defaultValue : number<int>(option, text.substr(colon + 1));
    if (value < 0)
        refuse(option, text);
    return {blockCode(option, text.substr(0, colon)), value};
}

// A name for a node in /dev, not a path.
bool isPortName(const std::string &name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '_' || c == '-';
    });
}

std::vector<std::string> namesOf(const auto &choices)
{
    std::vector<std::string> names;
    for (const auto &[name, value] : choices)
        names.push_back(name);
    return names;
}

// Calls `apply` with the value of each occurrence.
template <typename Apply>
CLI::Option *addEach(CLI::App &app, const std::string &name, const char *valueName,
                     const char *help, Apply apply)
{
    return app
        .add_option_function<std::vector<std::string>>(
            name,
            [name, apply](const std::vector<std::string> &values) {
                for (const std::string &value : values)
                    apply(name, value);
            },
            help)
        ->allow_extra_args(false)
        ->type_name(valueName);
}

template <typename T>
CLI::Option *addChoice(CLI::App &app, const std::string &name, const char *valueName,
                       const char *help, const std::map<std::string, T> &choices, T &chosen)
{
    return app
        .add_option_function<std::string>(
            name, [&choices, &chosen](const std::string &value) { chosen = choices.at(value); },
            help)
        ->check(CLI::IsMember(namesOf(choices)).description(""))
        ->type_name(valueName);
}

// Not the parser's range check, because that accepts NaN.
void addNumber(CLI::App &app, const std::string &name, const char *valueName, const char *help,
               double maximum, std::function<void(double)> apply)
{
    app.add_option_function<double>(
           name,
           [name, maximum, apply = std::move(apply)](double value) {
               if (!(value >= 0 && value <= maximum))
                   refuse(name, std::to_string(value));
               apply(value);
           },
           help)
        ->type_name(valueName);
}

std::function<void(double)> storeSeconds(std::optional<milliseconds> &time)
{
    return [&time](double seconds) {
        time = milliseconds(static_cast<milliseconds::rep>(seconds * 1000));
    };
}

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
    addRecordingOptions();
    addFaultOptions();
}

Options::~Options() = default;

CLI::App &Options::optionsOf(const std::string &group)
{
    m_app->option_defaults()->group(group);
    return *m_app;
}

void Options::addDeviceOptions()
{
    Configuration &c = m_configuration;
    CLI::App &app = optionsOf(kDeviceGroup);
    app.add_option("--baud", c.device.settings.baud, "Stored baud rate [115200]")->type_name("N");
    app.add_option("--line-baud", c.device.fallbackBaud,
                   "Baud rate of the line while the stored one is no real one [115200]")
        ->check(CLI::Range(1, 4'000'000).description(""))
        ->type_name("N");
    app.add_option("--rate", c.device.settings.rateHz, "Stored data rate [100]")->type_name("HZ");
    app.add_option("--outputs", c.device.settings.outputs,
                   "Stored outputs mask, such as 0x1FF [0xFF]")
        ->type_name("MASK");
    addChoice(app, "--motion", "KIND", "still, spin, tumble or hand [hand]", kMotions,
              c.device.motion);
    app.add_option("--seed", c.device.seed, "Of the noise, the iron and the hand [1]")
        ->type_name("N");
    app.add_option("--serial", c.device.serialNumber, "Serial number [0xC0FFEE]")->type_name("N");
    app.add_option("--calibration-points", c.calibrationPoints,
                   "Points in its calibration memory, at most 600 [120]")
        ->check(CLI::Range(0, 600).description(""))
        ->type_name("N");
}

void Options::addLineOptions()
{
    Configuration &c = m_configuration;
    CLI::App &app = optionsOf(kLineGroup);
    app.add_option("--link", c.link,
                   "Keep a symbolic link to the pseudo-terminal there (without COMMAND)")
        ->type_name("PATH");
    addEach(app, "--port", "NAME",
            "Name of the adapter, repeat for several devices (with COMMAND) [ttyUSB0]",
            [&c](const std::string &option, const std::string &name) {
                if (!isPortName(name) ||
                    std::find(c.ports.begin(), c.ports.end(), name) != c.ports.end())
                    refuse(option, name);
                c.ports.push_back(name);
            });
    app.add_flag("--statistics", c.statistics,
                 "At the end, print on standard error what became of its packets");
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

void Options::addFaultOptions()
{
    Configuration &c = m_configuration;
    Faults &faults = c.device.faults;
    CLI::App &app = optionsOf(kFaultGroup);
    const auto insertInto = [](std::set<unsigned char> &codes) {
        return [&codes](const std::string &option, const std::string &value) {
            codes.insert(blockCode(option, value));
        };
    };
    app.add_flag("--silent", faults.silent, "Sends nothing");
    addEach(app, "--no-reply", "CODE", "Obeys, but does not answer", insertInto(faults.noReply));
    addEach(app, "--wrong-echo", "CODE", "Answers with a wrong value",
            insertInto(faults.wrongEcho));
    addEach(app, "--refuse", "CODE", "Answers, but does not obey", insertInto(faults.refuse));
    addEach(app, "--ignore", "CODE[:N]", "Ignores the first N [1]",
            [&faults](const std::string &option, const std::string &value) {
                faults.ignoreFirst.insert_or_assign(codeAndValue(option, value, 1).first,
                                                    codeAndValue(option, value, 1).second);
            });
    addEach(app, "--late-reply", "CODE:MS", "Answers that much later",
            [&faults](const std::string &option, const std::string &value) {
                const auto [code, delay] = codeAndValue(option, value, std::nullopt);
                faults.lateReply[code] = milliseconds(delay);
            });
    addChoice(app, "--reply-shape", "SHAPE",
              "whole, split (GET: a packet per parameter), broken (in halves), joined (with data)",
              kReplyShapes, faults.replyShape);
    app.add_option_function<unsigned>(
           "--slow-baud-change",
           [&faults](unsigned delay) { faults.baudChangeDelay = milliseconds(delay); },
           "Receives and sends nothing for that long before a new baud rate holds")
        ->type_name("MS");
    app.add_option("--corrupt", faults.corruptEvery, "Every Nth packet has a wrong checksum")
        ->check(CLI::Range(1, 1'000'000).description(""))
        ->type_name("N");
    app.add_option("--noise", faults.noiseBytes, "Arbitrary bytes before every packet")
        ->check(CLI::Range(0, 10'000).description(""))
        ->type_name("N");
    addNumber(app, "--lose", "P", "Probability of each byte to be lost, 0 to 1", 1,
              [&faults](double probability) { faults.byteLoss = probability; });
    addNumber(app, "--unplug-after", "S", "Pull the cable then", kLongestWait,
              storeSeconds(c.unplugAfter));
    addNumber(app, "--return-after", "S", "And put it back that much later", kLongestWait,
              storeSeconds(c.returnAfter));
    app.get_option("--return-after")->needs(app.get_option("--unplug-after"));
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
    for (const std::string &group : {kDeviceGroup, kFaultGroup}) {
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

RecordingHeader recordingHeader(const Configuration &configuration)
{
    const DeviceOptions &options = configuration.device;
    const auto motion = std::find_if(kMotions.begin(), kMotions.end(), [&](const auto &choice) {
        return choice.second == options.motion;
    });
    return {.baud = Device(options).lineBaud(),
            .rateHz = options.settings.rateHz,
            .outputs = options.settings.outputs,
            .zeroThreshold = options.settings.zeroThreshold,
            .motion = motion->first,
            .seed = options.seed,
            .serialNumber = options.serialNumber,
            .faults = configuration.faults.empty() ? "none" : configuration.faults};
}

} // namespace sim
