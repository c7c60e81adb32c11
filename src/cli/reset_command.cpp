// vornixctl reset: factory settings.

#include <memory>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/runtime.h"
#include "cli/settings_text.h"
#include "session/error.h"

namespace cli {

namespace {

// A device that takes the factory settings at once may be at another baud rate afterwards.
void findAgain(Runtime &runtime, session::Device &device)
{
    const std::string path = device.path();
    if (const auto settings = device.readSettings(); !settings) {
        if (exitStatusOf(settings.error()) != ExitStatus::NoAnswer)
            throwIf(settings.error(), path);
        runtime.find(device, path);
    }
    const auto settings = device.readSettings();
    throwIf(settings.error(), path);
    runtime.out().write(path + " now has " + settingsText(*settings) + "\n");
}

ExitStatus reset(Runtime &runtime, bool yes)
{
    const auto device = runtime.connectChosen();
    const auto before = device->readSettings();
    throwIf(before.error(), device->path());
    if (!yes && !runtime.confirm("Reset " + device->path() + " to factory settings?"))
        throw Failure(ExitStatus::Failed, "not confirmed, nothing written");
    if (const auto error = device->factoryReset())
        throw Failure(exitStatusOf(error),
                      device->path() + ": " + error.message() + ": the device last had " +
                          settingsText(*before) +
                          (error == session::Error::Refused
                               ? "; the factory settings are not stored"
                               : "; whether the factory settings are stored is unknown"));
    // Before the device is read: this is true even if it does not answer any more.
    runtime.note("factory settings are stored; they take effect when the device is switched on "
                 "again");
    findAgain(runtime, *device);
    return ExitStatus::Done;
}

} // namespace

void addReset(CLI::App &app, Request &request)
{
    auto yes = std::make_shared<bool>(false);
    CLI::App &command = addCommand(app, request, "reset", "Store the factory settings in a device",
                                   "  vornixctl reset\n"
                                   "  vornixctl reset ttyUSB0 --yes",
                                   [yes](Runtime &runtime) { return reset(runtime, *yes); });
    addPortOption(command, request.common);
    command.add_flag("--yes", *yes, "Do not ask");
    addQuietOption(command, request.common);
}

} // namespace cli
