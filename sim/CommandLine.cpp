#include "sim/CommandLine.h"

#include "sim/OptionValues.h"

#include <algorithm>
#include <functional>
#include <string_view>

namespace sim {

namespace {

// What an option is about.
enum class Topic { Unit, Line, Recording, Fault };

struct Option
{
    std::string_view name;
    std::string_view value; // what to call it in the help; empty for a switch
    std::string_view help;
    std::function<bool(Configuration &, const std::string &)> apply; // false: a bad value
    Topic topic{};
};

bool addCode(std::set<unsigned char> &codes, const std::string &text)
{
    const auto code = blockCode(text);
    if (code)
        codes.insert(*code);
    return code.has_value();
}

std::vector<Option> unitOptions()
{
    return {
        {"--baud", "N", "stored baud rate [115200]",
         [](Configuration &c, const std::string &v) {
             return readInteger(v, c.device.settings.baud);
         }},
        {"--line-baud", "N", "what the line runs at while the stored rate is no real one [115200]",
         [](Configuration &c, const std::string &v) {
             return readInteger(v, c.device.fallbackBaud) && c.device.fallbackBaud > 0;
         }},
        {"--rate", "HZ", "stored data rate [100]",
         [](Configuration &c, const std::string &v) {
             return readInteger(v, c.device.settings.rateHz);
         }},
        {"--outputs", "MASK", "stored outputs mask, such as 0x1FF [0xFF]",
         [](Configuration &c, const std::string &v) {
             return readInteger(v, c.device.settings.outputs);
         }},
        {"--motion", "KIND", "still, spin, tumble or hand [hand]",
         [](Configuration &c, const std::string &v) {
             return readChoice(v, kMotions, c.device.motion);
         }},
        {"--seed", "N", "of the noise, the iron and the hand [1]",
         [](Configuration &c, const std::string &v) { return readInteger(v, c.device.seed); }},
        {"--serial", "N", "serial number [0xC0FFEE]",
         [](Configuration &c, const std::string &v) {
             return readInteger(v, c.device.serialNumber);
         }},
        {"--calibration-points", "N", "points in its calibration memory, at most 600 [120]",
         [](Configuration &c, const std::string &v) {
             return readInteger(v, c.calibrationPoints) && c.calibrationPoints <= 600;
         }},
    };
}

std::vector<Option> lineOptions()
{
    return {
        {"--link", "PATH", "keep a symbolic link to the pty there (without COMMAND)",
         [](Configuration &c, const std::string &v) {
             c.link = v;
             return !v.empty();
         }},
        {"--port", "NAME", "name of the adapter, repeat for several units (with COMMAND) [ttyUSB0]",
         [](Configuration &c, const std::string &v) {
             const bool fresh = std::find(c.ports.begin(), c.ports.end(), v) == c.ports.end();
             c.ports.push_back(v);
             return fresh && isPortName(v);
         }},
        {"--statistics", "", "at the end, tell on standard error what became of its packets",
         [](Configuration &c, const std::string &) { return c.statistics = true; }},
    };
}

std::vector<Option> recordingOptions()
{
    return {
        {"--record", "FILE", "write down what passes the line once a host listens",
         [](Configuration &c, const std::string &v) {
             c.recordTo = v;
             return !v.empty();
         }},
        {"--replay", "FILE", "be the recorded unit, from when a host listens",
         [](Configuration &c, const std::string &v) {
             c.replayFrom = v;
             return !v.empty();
         }},
        {"--speed", "N", "so many times as fast; max: as fast as the host reads [1]",
         [](Configuration &c, const std::string &v) { return readSpeed(v, c.replaySpeed); }},
    };
}

std::vector<Option> faultOptions()
{
    return {
        {"--silent", "", "sends nothing",
         [](Configuration &c, const std::string &) { return c.device.faults.silent = true; }},
        {"--no-reply", "CODE", "obeys, but does not answer",
         [](Configuration &c, const std::string &v) {
             return addCode(c.device.faults.noReply, v);
         }},
        {"--wrong-echo", "CODE", "answers with a wrong value",
         [](Configuration &c, const std::string &v) {
             return addCode(c.device.faults.wrongEcho, v);
         }},
        {"--refuse", "CODE", "answers, but does not obey",
         [](Configuration &c, const std::string &v) { return addCode(c.device.faults.refuse, v); }},
        {"--ignore", "CODE[:N]", "does not hear the first N [1]",
         [](Configuration &c, const std::string &v) {
             const auto read = readCodeAndValue(v, 1);
             if (read)
                 c.device.faults.ignoreFirst[read->code] =
                     static_cast<int>(std::min(read->value, 1'000'000u));
             return read.has_value();
         }},
        {"--late-reply", "CODE:MS", "answers that much later",
         [](Configuration &c, const std::string &v) {
             const auto read = readCodeAndValue(v, std::nullopt);
             if (read)
                 c.device.faults.lateReply[read->code] = std::chrono::milliseconds(read->value);
             return read.has_value();
         }},
        {"--reply-shape", "SHAPE",
         "whole, split (GET: a packet a parameter), broken (in halves), joined (with data)",
         [](Configuration &c, const std::string &v) {
             return readChoice(v, kShapes, c.device.faults.replyShape);
         }},
        {"--slow-baud-change", "MS", "deaf and mute that long before it is back at a new speed",
         [](Configuration &c, const std::string &v) {
             return readMilliseconds(v, c.device.faults.baudChangeDelay);
         }},
        {"--corrupt", "N", "every Nth packet has a wrong checksum",
         [](Configuration &c, const std::string &v) {
             return readInteger(v, c.device.faults.corruptEvery) &&
                    c.device.faults.corruptEvery > 0;
         }},
        {"--noise", "N", "arbitrary bytes before every packet",
         [](Configuration &c, const std::string &v) {
             return readInteger(v, c.device.faults.noiseBytes) && c.device.faults.noiseBytes >= 0 &&
                    c.device.faults.noiseBytes <= 10'000;
         }},
        {"--lose", "P", "chance of each byte to be lost, 0 to 1",
         [](Configuration &c, const std::string &v) {
             return readNumber(v, c.device.faults.byteLoss) && c.device.faults.byteLoss >= 0 &&
                    c.device.faults.byteLoss <= 1;
         }},
        {"--unplug-after", "S", "pull the cable then",
         [](Configuration &c, const std::string &v) { return readSeconds(v, c.unplugAfter); }},
        {"--return-after", "S", "and put it back that much later",
         [](Configuration &c, const std::string &v) { return readSeconds(v, c.returnAfter); }},
    };
}

void appendHelp(std::string &text, std::string_view title, const std::vector<Option> &options)
{
    constexpr std::size_t kColumn = 28;
    text.append("\n").append(title).append(":\n");
    for (const Option &option : options) {
        std::string line = "  " + std::string(option.name);
        if (!option.value.empty())
            line.append(" ").append(option.value);
        line.resize(std::max(line.size() + 1, kColumn), ' ');
        text.append(line).append(option.help).append("\n");
    }
}

std::vector<Option> allOptions()
{
    std::vector<Option> all;
    const auto add = [&all](Topic topic, std::vector<Option> options) {
        for (Option &option : options) {
            option.topic = topic;
            all.push_back(std::move(option));
        }
    };
    add(Topic::Unit, unitOptions());
    add(Topic::Line, lineOptions());
    add(Topic::Recording, recordingOptions());
    add(Topic::Fault, faultOptions());
    return all;
}

// What a recording says about the unit, and what does not go with a replay.
void remember(const Option &option, const std::string &value, Configuration &configuration)
{
    if (option.topic == Topic::Unit)
        configuration.unitOptions.emplace_back(option.name);
    if (option.topic == Topic::Fault) {
        configuration.faultOptions.emplace_back(option.name);
        if (!value.empty())
            configuration.faultOptions.push_back(value);
    }
}

CommandLine refuse(std::string problem)
{
    CommandLine line;
    line.action = CommandLine::Action::Refuse;
    line.problem = std::move(problem);
    return line;
}

CommandLine only(CommandLine::Action action)
{
    CommandLine line;
    line.action = action;
    return line;
}

// A recorded unit is what it was.
std::string problemWithRecordings(const Configuration &configuration)
{
    const bool replays = !configuration.replayFrom.empty();
    if (!replays && configuration.replaySpeed != 1.0)
        return "--speed needs --replay";
    if (replays && !configuration.recordTo.empty())
        return "--record and --replay exclude each other";
    for (const auto *options : {&configuration.unitOptions, &configuration.faultOptions}) {
        if (replays && !options->empty())
            return options->front() + " is for a unit that is not replayed";
    }
    if (!configuration.recordTo.empty() && configuration.ports.size() > 1)
        return "--record is for a single unit";
    return {};
}

// What no single option can tell.
CommandLine checked(Configuration configuration)
{
    const bool launches = !configuration.command.empty();
    if (!launches && !configuration.ports.empty())
        return refuse("--port needs a COMMAND");
    if (launches && !configuration.link.empty())
        return refuse("--link is for serving without COMMAND");
    if (configuration.returnAfter && !configuration.unplugAfter)
        return refuse("--return-after needs --unplug-after");
    if (const std::string problem = problemWithRecordings(configuration); !problem.empty())
        return refuse(problem);
    if (launches && configuration.ports.empty())
        configuration.ports.emplace_back("ttyUSB0");
    CommandLine line;
    line.configuration = std::move(configuration);
    return line;
}

} // namespace

CommandLine parseCommandLine(std::span<const std::string> arguments)
{
    const std::vector<Option> options = allOptions();

    Configuration configuration;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string &argument = arguments[i];
        if (argument == "--help" || argument == "-h")
            return only(CommandLine::Action::ShowHelp);
        if (argument == "--version")
            return only(CommandLine::Action::ShowVersion);
        if (argument == "--") {
            const auto rest = arguments.subspan(i + 1);
            configuration.command.assign(rest.begin(), rest.end());
            return rest.empty() ? refuse("no COMMAND after --") : checked(std::move(configuration));
        }
        const auto option = std::find_if(options.begin(), options.end(),
                                         [&](const Option &o) { return o.name == argument; });
        if (option == options.end())
            return refuse("unknown option " + argument);
        std::string value;
        if (!option->value.empty()) {
            if (++i == arguments.size())
                return refuse(argument + " needs a value");
            value = arguments[i];
        }
        if (!option->apply(configuration, value))
            return refuse("bad value for " + argument + ": " + value);
        remember(*option, value, configuration);
    }
    return checked(std::move(configuration));
}

RecordingHeader recordingHeader(const Configuration &configuration)
{
    const DeviceOptions &options = configuration.device;
    const auto motion = std::find_if(kMotions.begin(), kMotions.end(), [&](const auto &choice) {
        return choice.second == options.motion;
    });
    std::string faults;
    for (const std::string &part : configuration.faultOptions)
        faults.append(faults.empty() ? "" : " ").append(part);
    return {.baud = Device(options).lineBaud(),
            .rateHz = options.settings.rateHz,
            .outputs = options.settings.outputs,
            .zeroThreshold = options.settings.zeroThreshold,
            .motion = std::string(motion->first),
            .seed = options.seed,
            .serialNumber = options.serialNumber,
            .faults = faults.empty() ? "none" : faults};
}

std::string helpText()
{
    std::string text =
        "Usage: vornix-sim [OPTION...]\n"
        "       vornix-sim [OPTION...] -- COMMAND [ARGUMENT...]\n\n"
        "A simulated inertial measurement unit. Alone it serves a pseudo-terminal, prints\n"
        "its path and runs until interrupted. With COMMAND it is a USB serial adapter that\n"
        "only COMMAND sees, and ends with it and its exit status.\n\n"
        "SIGHUP switches its power off and on; SIGUSR1 pulls the cable or puts it back.\n";
    appendHelp(text, "The unit", unitOptions());
    appendHelp(text, "The line", lineOptions());
    appendHelp(text, "Recordings", recordingOptions());
    appendHelp(text, "Faults (CODE is a name such as DATA_RATE, or its number; may be repeated)",
               faultOptions());
    text += "\n  --help                    this text\n"
            "  --version                 the version\n";
    return text;
}

} // namespace sim
