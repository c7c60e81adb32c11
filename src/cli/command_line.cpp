#include "cli/command_line.h"

#include <csignal>
#include <iostream>
#include <utility>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/help_text.h"
#include "cli/output.h"
#include "cli/runtime.h"

namespace cli {

namespace {

constexpr auto kFooter = "Data goes to standard output, everything else to standard error.\n\n"
                         "Exit status:\n"
                         "  0    done\n"
                         "  1    failed\n"
                         "  2    wrong usage\n"
                         "  3    no port, no device, or it was unplugged meanwhile\n"
                         "  4    no permission to open the port\n"
                         "  5    another program has the port open\n"
                         "  6    the device does not answer\n"
                         "  7    the device refused\n"
                         "  8    done, and judged bad\n"
                         "  130  interrupted\n\n"
                         "vornixctl COMMAND --help explains a command.";

int toInt(ExitStatus status)
{
    return static_cast<int>(status);
}

// Ends as a program does that does not handle SIGPIPE, but after the ports are closed.
[[noreturn]] void endByBrokenPipe()
{
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
    std::_Exit(toInt(ExitStatus::Failed));
}

int perform(const Request &request)
{
    Runtime runtime(request.common);
    try {
        const ExitStatus status = [&] {
            try {
                return request.action(runtime);
            } catch (const Failure &failure) {
                Runtime::complain(failure.what());
                return failure.status();
            }
        }();
        runtime.out().flush();
        return toInt(status);
    } catch (const Failure &failure) {
        Runtime::complain(failure.what());
        return toInt(failure.status());
    } catch (const Output::BrokenPipe &) {
        endByBrokenPipe();
    } catch (const std::exception &error) {
        Runtime::complain(error.what());
        return toInt(ExitStatus::Failed);
    }
}

} // namespace

CLI::App &addCommand(CLI::App &parent, Request &request, const std::string &name,
                     const std::string &description, const std::string &examples, Action action)
{
    CLI::App &command = *parent.add_subcommand(name, description);
    command.group(kCommandGroup);
    if (!examples.empty())
        command.footer("Examples:\n" + examples);
    command.callback([&request, action = std::move(action)] { request.action = action; });
    return command;
}

int runCommandLine(int argc, const char *const *argv)
{
    std::signal(SIGPIPE, SIG_IGN); // a write then fails, and the ports are closed properly
    Request request;
    CLI::App app("The Vornix inertial measurement unit in a terminal or a script.", "vornixctl");
    app.set_version_flag("--version", "vornixctl " VORNIX_VERSION, "Print the version");
    app.set_help_flag("--help,-h", "Print this text");
    app.formatter(helpFormatter());
    app.require_subcommand(1);
    addPorts(app, request);
    addFind(app, request);
    addCalibrate(app, request);
    addRecord(app, request);
    addNoise(app, request);
    addInfo(app, request);
    addSettings(app, request);
    addReset(app, request);
    addRescue(app, request);
    addStream(app, request);
    addDoctor(app, request);
    // After the commands, because they would inherit both.
    app.set_help_all_flag("--help-all", "Print the help of every command");
    app.footer(kFooter);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForAllHelp &) {
        std::cout << completeHelp(app);
        return toInt(ExitStatus::Done);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);
        Runtime::complain(error.what());
        std::cerr << "Try vornixctl --help.\n";
        return toInt(ExitStatus::Usage);
    }
    return perform(request);
}

} // namespace cli
