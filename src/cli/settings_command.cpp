// vornixctl settings: read, write, export and import.

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/runtime.h"
#include "cli/settings_text.h"
#include "cli/settings_writer.h"

namespace cli {

namespace {

constexpr auto kStandardStream = "-";

void addWriteOptions(CLI::App &command, WriteOptions &options)
{
    command.add_flag("--save", options.save, "Store the settings in the flash of the device");
    command.add_flag("--dry-run", options.dryRun, "Only show what would change");
    command.add_flag("--force", options.force, "Accept outputs that do not fit through the line");
    command.add_flag("--yes", options.yes, "Do not ask");
}

session::Settings readFrom(session::Device &device)
{
    const auto settings = device.readSettings();
    throwIf(settings.error(), device.path());
    return *settings;
}

ExitStatus get(Runtime &runtime)
{
    const auto device = runtime.connectChosen();
    const session::Settings settings = readFrom(*device);
    if (runtime.options().json) {
        runtime.out().write(settingsJson(settings).dump(2) + "\n");
        return ExitStatus::Done;
    }
    runtime.out().write("rate=" + std::to_string(settings.rateHz) +
                        "\noutputs=" + outputsText(settings.outputs) +
                        "\nbaud=" + std::to_string(settings.baud) + "\n");
    return ExitStatus::Done;
}

// The words of the command line are assignments, and perhaps a port.
ExitStatus set(Runtime &runtime, const std::vector<std::string> &words, const WriteOptions &options)
{
    SettingsChange change;
    std::vector<std::string> ports;
    for (const std::string &word : words) {
        if (word.find('=') == std::string::npos)
            ports.push_back(word);
        else
            parseAssignment(word, change);
    }
    if (ports.size() > 1)
        throw Failure(ExitStatus::Usage, "\"" + ports[1] + "\" is no setting such as rate=100");
    if (ports.size() == words.size())
        throw Failure(ExitStatus::Usage, "no setting such as rate=100 given");
    runtime.choosePorts(ports);
    const auto device = runtime.connectChosen();
    writeSettings(runtime, *device, change, options);
    return ExitStatus::Done;
}

// A file appears complete or not at all.
void writeFile(const std::string &path, const std::string &text)
{
    const std::string unfinished = path + ".part";
    const int fd =
        ::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666); // less umask
    const auto check = [&](bool isGood) {
        if (isGood)
            return;
        const std::string problem = std::generic_category().message(errno);
        ::unlink(unfinished.c_str());
        throw Failure(ExitStatus::Failed, "cannot write " + path + ": " + problem);
    };
    check(fd >= 0);
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written >= 0 && static_cast<std::size_t>(written) < text.size())
        errno = ENOSPC;
    const bool isWritten = written == static_cast<ssize_t>(text.size()) && ::fsync(fd) == 0;
    const int error = errno;
    ::close(fd);
    errno = error;
    check(isWritten);
    check(::rename(unfinished.c_str(), path.c_str()) == 0);
}

ExitStatus exportTo(Runtime &runtime, const std::string &file)
{
    const auto device = runtime.connectChosen();
    const std::string text = settingsJson(readFrom(*device)).dump(2) + "\n";
    if (file == kStandardStream)
        runtime.out().write(text);
    else
        writeFile(file, text);
    return ExitStatus::Done;
}

std::string contentOf(const std::string &file)
{
    using Iterator = std::istreambuf_iterator<char>;
    if (file == kStandardStream)
        return {Iterator(std::cin), Iterator()};
    std::ifstream stream(file, std::ios::binary);
    std::string text{Iterator(stream), Iterator()};
    if (!stream)
        throw Failure(ExitStatus::Failed, "cannot read " + file);
    return text;
}

// The file is checked before the device is touched.
ExitStatus importFrom(Runtime &runtime, const std::string &file, const WriteOptions &options)
{
    const SettingsChange change = parseSettingsFile(contentOf(file), file);
    const auto device = runtime.connectChosen();
    writeSettings(runtime, *device, change, options);
    return ExitStatus::Done;
}

void addCommonOptions(CLI::App &command, Request &request)
{
    addJsonOption(command, request.common);
    addQuietOption(command, request.common);
}

void addGet(CLI::App &settings, Request &request)
{
    CLI::App &command = addCommand(settings, request, "get", "Print the settings in use",
                                   "  vornixctl settings get --json", get);
    addPortOption(command, request.common);
    addCommonOptions(command, request);
}

void addSet(CLI::App &settings, Request &request)
{
    struct Options : WriteOptions
    {
        std::vector<std::string> words;
    };
    auto options = std::make_shared<Options>();
    CLI::App &command =
        addCommand(settings, request, "set",
                   "Change settings: rate (50, 100, 200, 400, 500 or 1000 Hz), outputs, baud",
                   "  vornixctl settings set rate=200 outputs=quaternion,euler --save\n"
                   "  vornixctl settings set ttyUSB0 baud=921600 outputs=full --yes\n"
                   "  vornixctl settings set outputs=0x47 --dry-run",
                   [options](Runtime &runtime) { return set(runtime, options->words, *options); });
    command
        .add_option("SETTING", options->words,
                    "NAME=VALUE; several are possible, a port may precede them")
        ->required()
        ->type_name("");
    addLineOptions(command, request.common);
    addWriteOptions(command, *options);
    addCommonOptions(command, request);
}

void addExport(CLI::App &settings, Request &request)
{
    auto file = std::make_shared<std::string>();
    CLI::App &command =
        addCommand(settings, request, "export", "Write the settings in use to a file",
                   "  vornixctl settings export device.json",
                   [file](Runtime &runtime) { return exportTo(runtime, *file); });
    command.add_option("FILE", *file, "JSON; - is standard output")->required()->type_name("");
    addPortOption(command, request.common);
    addQuietOption(command, request.common);
}

void addImport(CLI::App &settings, Request &request)
{
    struct Options : WriteOptions
    {
        std::string file;
    };
    auto options = std::make_shared<Options>();
    CLI::App &command = addCommand(
        settings, request, "import", "Change settings to those of a file",
        "  vornixctl settings import device.json --dry-run\n"
        "  vornixctl settings import device.json --save --yes",
        [options](Runtime &runtime) { return importFrom(runtime, options->file, *options); });
    command.add_option("FILE", options->file, "JSON; - is standard input")
        ->required()
        ->type_name("");
    addPortOption(command, request.common);
    addWriteOptions(command, *options);
    addCommonOptions(command, request);
}

} // namespace

void addSettings(CLI::App &app, Request &request)
{
    CLI::App &settings =
        *app.add_subcommand("settings", "Read, change, export and import the settings");
    settings.group(kCommandGroup);
    settings.require_subcommand(1);
    addGet(settings, request);
    addSet(settings, request);
    addExport(settings, request);
    addImport(settings, request);
}

} // namespace cli
