#pragma once

#include <functional>
#include <string>

#include "cli/common_options.h"
#include "cli/exit_status.h"

namespace CLI {
class App;
}

namespace cli {

class Runtime;

using Action = std::function<ExitStatus(Runtime &)>;

// What the command line asks for. The parser fills it; the options of a command live in its action.
struct Request
{
    CommonOptions common;
    Action action;
};

// The heading of the commands in a help text.
inline constexpr auto kCommandGroup = "Commands";

// Adds a command to its parent. `examples` are lines for the help text, each without indentation.
// The action runs if the command is chosen; it may throw a Failure.
CLI::App &addCommand(CLI::App &parent, Request &request, const std::string &name,
                     const std::string &description, const std::string &examples, Action action);

// One function per command, each in the file of that command.
void addPorts(CLI::App &app, Request &request);
void addFind(CLI::App &app, Request &request);
void addCalibrate(CLI::App &app, Request &request);
void addRecord(CLI::App &app, Request &request);
void addNoise(CLI::App &app, Request &request);
void addInfo(CLI::App &app, Request &request);
void addSettings(CLI::App &app, Request &request);
void addReset(CLI::App &app, Request &request);
void addRescue(CLI::App &app, Request &request);
void addStream(CLI::App &app, Request &request);
void addDoctor(CLI::App &app, Request &request);

} // namespace cli
