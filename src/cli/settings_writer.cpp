#include "cli/settings_writer.h"

#include <algorithm>
#include <array>

#include <nlohmann/json.hpp>

#include "cli/exit_status.h"
#include "protocol/protocol.h"
#include "session/error.h"
#include "session/outputs.h"

namespace cli {

namespace {

using session::Device;
using session::Settings;

// The baud rates that the window tries.
constexpr std::array<std::uint32_t, 5> kWindowBauds{921600, 460800, 230400, 115200, 57600};

// One difference; the name is that of the setting.
struct Difference
{
    std::string name;
    std::string before;
    std::string after;
};

std::vector<Difference> differences(const Settings &before, const Settings &after)
{
    std::vector<Difference> list;
    if (before.rateHz != after.rateHz)
        list.push_back({"rate", std::to_string(before.rateHz), std::to_string(after.rateHz)});
    if (before.baud != after.baud)
        list.push_back({"baud", std::to_string(before.baud), std::to_string(after.baud)});
    if (before.outputs != after.outputs)
        list.push_back({"outputs", outputsText(before.outputs), outputsText(after.outputs)});
    return list;
}

void print(Runtime &runtime, const std::vector<Difference> &list)
{
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    for (const Difference &difference : list) {
        json[difference.name] = {{"old", difference.before}, {"new", difference.after}};
        if (!runtime.options().json)
            runtime.out().write(difference.name + ": " + difference.before + " -> " +
                                difference.after + "\n");
    }
    if (runtime.options().json)
        runtime.out().write(json.dump(2) + "\n");
    runtime.out().flush();
}

void refuseOverload(const Settings &wanted, bool force)
{
    if (force || session::lineLoad(wanted.outputs, wanted.rateHz, wanted.baud) <= 1)
        return;
    throw Failure(ExitStatus::Usage,
                  "these outputs at " + std::to_string(wanted.rateHz) + " Hz need " +
                      lineLoadText(wanted) + " of the line at " + std::to_string(wanted.baud) +
                      " baud: choose fewer outputs, a lower rate or a higher baud rate; --force "
                      "writes them nevertheless");
}

std::error_code write(Device &device, const Settings &before, const Settings &wanted)
{
    std::error_code error;
    if (before.rateHz != wanted.rateHz)
        error = device.setDataRate(wanted.rateHz);
    if (!error && before.baud != wanted.baud)
        error = device.setBaudRate(wanted.baud);
    if (!error && before.outputs != wanted.outputs)
        error = device.setOutputs(wanted.outputs);
    return error;
}

std::error_code readBack(Device &device, const Settings &wanted)
{
    const auto now = device.readSettings();
    if (!now)
        return now.error();
    return *now == wanted ? std::error_code{} : session::make_error_code(session::Error::Refused);
}

// After a failure the user must know what the device has now.
std::string stateNow(Device &device, const Settings &before)
{
    const auto now = device.readSettings();
    if (!now)
        return "it does not answer, so its settings are unknown; before they were " +
               settingsText(before);
    const std::string unchanged = *now == before ? " (unchanged)" : "";
    return "the device now has " + settingsText(*now) + unchanged + ", not saved";
}

[[noreturn]] void fail(Device &device, std::error_code error, const Settings &before)
{
    const ExitStatus status = exitStatusOf(error);
    throw Failure(status, device.path() + ": " + error.message() + ": " + stateNow(device, before));
}

} // namespace

bool isHiddenFromWindow(const Settings &settings)
{
    return (settings.outputs & protocol::OUT_QUATERNION) == 0 ||
           std::find(kWindowBauds.begin(), kWindowBauds.end(), settings.baud) == kWindowBauds.end();
}

void noteHidden(const Runtime &runtime, const Settings &settings)
{
    if (isHiddenFromWindow(settings))
        runtime.note("with these settings the window does not find the device: it needs the output "
                     "quaternion and at most 921600 baud; vornixctl rescue restores both");
}

void writeSettings(Runtime &runtime, Device &device, const SettingsChange &change,
                   const WriteOptions &options)
{
    const auto read = device.readSettings();
    throwIf(read.error(), device.path());
    const Settings before = *read;
    const Settings wanted = change.appliedTo(before);
    const auto list = differences(before, wanted);
    print(runtime, list);
    if (list.empty())
        runtime.note("nothing to change");
    else
        refuseOverload(wanted, options.force);
    if (options.dryRun || (list.empty() && !options.save))
        return;
    if (!options.yes && !runtime.confirm(options.save ? "Write and save?" : "Write?"))
        throw Failure(ExitStatus::Failed, "not confirmed, nothing written");
    if (const auto error = write(device, before, wanted))
        fail(device, error, before);
    if (const auto error = readBack(device, wanted))
        fail(device, error, before);
    if (options.save) {
        if (const auto error = device.save())
            fail(device, error, before);
    }
    runtime.note(options.save ? "written and saved"
                              : "written; not saved, so a restart of the device reverts it");
    noteHidden(runtime, wanted);
}

} // namespace cli
