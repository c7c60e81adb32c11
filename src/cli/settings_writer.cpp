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

enum class Saving { NotSaved, Unknown, Confirmed };

// How far a change has come, for the message after a failure.
struct Progress
{
    Settings before;
    Settings wanted;
    Settings confirmed;      // each value that the device has confirmed, and the others as before
    std::string unconfirmed; // the value that has been sent last, such as "rate=200"
    Saving saving = Saving::NotSaved;
};

// Sends one value if it differs.
template <typename Value, typename Request>
std::error_code change(Progress &progress, Value Settings::*member, const Request &request)
{
    Settings after = progress.confirmed;
    after.*member = progress.wanted.*member;
    const auto list = differences(progress.confirmed, after);
    if (list.empty())
        return {};
    progress.unconfirmed = list.front().name + "=" + list.front().after;
    if (const auto error = request(after.*member))
        return error;
    progress.confirmed = after;
    progress.unconfirmed.clear();
    return {};
}

std::error_code write(Device &device, Progress &progress)
{
    auto error = change(progress, &Settings::rateHz,
                        [&](std::uint16_t rateHz) { return device.setDataRate(rateHz); });
    if (!error)
        error = change(progress, &Settings::baud,
                       [&](unsigned baud) { return device.setBaudRate(baud); });
    if (!error)
        error = change(progress, &Settings::outputs,
                       [&](std::uint16_t outputs) { return device.setOutputs(outputs); });
    return error;
}

// The settings of the device after a change. Replies to requests before the change may still
// arrive, so other settings than `wanted` are read again.
session::Result<Settings> readAfterChange(Device &device, const Settings &wanted)
{
    // Several requests may have been repeated.
    constexpr int kReadings = 8;
    auto now = device.readSettings();
    for (int reading = 1; reading < kReadings && now && *now != wanted; ++reading)
        now = device.readSettings();
    return now;
}

std::error_code readBack(Device &device, const Settings &wanted)
{
    const auto now = readAfterChange(device, wanted);
    if (!now)
        return now.error();
    return *now == wanted ? std::error_code{} : session::make_error_code(session::Error::Refused);
}

// The settings at the baud rate of the port; without an answer, at those before and after the
// change, because the device may have missed it, or may have restarted.
session::Result<Settings> readWhereItAnswers(Device &device, const Progress &progress)
{
    const unsigned tried = device.baud();
    auto now = device.readSettings();
    for (const unsigned baud : {progress.wanted.baud, progress.before.baud}) {
        if (now || now.error() != session::Error::NoAnswer)
            break;
        if (baud == tried)
            continue;
        if (const auto error = device.open(device.path(), baud))
            return error;
        now = device.readSettings();
    }
    return now;
}

std::string savedText(Saving saving)
{
    switch (saving) {
    case Saving::NotSaved:
        return ", not saved";
    case Saving::Unknown:
        return "; whether the new values are saved is unknown";
    case Saving::Confirmed:
        return ", saved";
    }
    return {};
}

// After a failure the user must know what the device has now.
std::string stateNow(Device &device, const Progress &progress)
{
    const auto now = readWhereItAnswers(device, progress);
    if (now)
        return "the device now has " + settingsText(*now) +
               (*now == progress.before ? " (unchanged)" : "") + savedText(progress.saving);
    return "the device last had " + settingsText(progress.confirmed) + savedText(progress.saving) +
           (progress.unconfirmed.empty()
                ? ""
                : "; whether it has " + progress.unconfirmed + " is unknown");
}

[[noreturn]] void fail(Device &device, std::error_code error, const Progress &progress)
{
    const ExitStatus status = exitStatusOf(error);
    throw Failure(status,
                  device.path() + ": " + error.message() + ": " + stateNow(device, progress));
}

// A device that loses its power while it saves restarts with the values that it has stored, and
// then confirms the repeated command. So the values are compared once more.
void save(Device &device, Progress &progress)
{
    progress.saving = Saving::Unknown;
    if (const auto error = device.save()) {
        if (error == session::Error::Refused)
            progress.saving = Saving::NotSaved;
        fail(device, error, progress);
    }
    progress.saving = Saving::Confirmed;
    const auto kept = readAfterChange(device, progress.wanted);
    if (!kept)
        fail(device, kept.error(), progress);
    if (*kept != progress.wanted)
        throw Failure(ExitStatus::Failed,
                      device.path() + ": the device restarted while it saved: the device now has " +
                          settingsText(*kept) + (*kept == progress.before ? " (unchanged)" : ""));
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
    Progress progress{.before = before, .wanted = wanted, .confirmed = before, .unconfirmed = {}};
    if (const auto error = write(device, progress))
        fail(device, error, progress);
    if (const auto error = readBack(device, wanted))
        fail(device, error, progress);
    if (options.save)
        save(device, progress);
    runtime.note(options.save ? "written and saved"
                              : "written; not saved, so a restart of the device reverts it");
    noteHidden(runtime, wanted);
}

} // namespace cli
