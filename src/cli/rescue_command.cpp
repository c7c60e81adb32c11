// vornixctl rescue: for a device that the window does not find.

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/runtime.h"
#include "cli/settings_text.h"
#include "cli/settings_writer.h"
#include "protocol/protocol.h"
#include "session/outputs.h"

namespace cli {

namespace {

constexpr std::uint32_t kBaud = 115200;

ExitStatus rescue(Runtime &runtime)
{
    const auto device = runtime.connectChosen();
    const auto settings = device->readSettings();
    throwIf(settings.error(), device->path());
    SettingsChange change;
    change.outputs = static_cast<std::uint16_t>(settings->outputs | protocol::OUT_QUATERNION);
    change.baud = kBaud;
    writeSettings(runtime, *device, change, {.save = true, .force = true, .yes = true});
    const session::Settings now = change.appliedTo(*settings);
    if (session::lineLoad(now.outputs, now.rateHz, now.baud) > 1)
        runtime.note("the device now skips samples, because its outputs at " +
                     std::to_string(now.rateHz) + " Hz need " + lineLoadText(now) +
                     " of the line at " + std::to_string(now.baud) + " baud");
    return ExitStatus::Done;
}

} // namespace

void addRescue(CLI::App &app, Request &request)
{
    CLI::App &command =
        addCommand(app, request, "rescue",
                   "Make a device visible to the window: quaternions on, 115200 baud, saved",
                   "  vornixctl rescue\n"
                   "  vornixctl rescue ttyUSB0",
                   rescue);
    addPortOption(command, request.common);
    addJsonOption(command, request.common);
    addQuietOption(command, request.common);
}

} // namespace cli
