// vornixctl find: the baud rate of a device, and what it streams.

#include <nlohmann/json.hpp>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/record_format.h"
#include "cli/runtime.h"
#include "cli/settings_text.h"

namespace cli {

namespace {

nlohmann::ordered_json findOne(Runtime &runtime, const std::string &path)
{
    session::Device device(runtime.context());
    runtime.connect(device, path);
    const auto settings = device.readSettings();
    nlohmann::ordered_json found{{"port", path}, {"baud", device.baud()}};
    if (!settings) {
        if (exitStatusOf(settings.error()) != ExitStatus::NoAnswer)
            throwIf(settings.error(), path);
        // It streams, but has not answered.
        return found;
    }
    found["serial"] = serialText(settings->serialNumber);
    found["rate"] = settings->rateHz;
    found["outputs"] = outputsText(settings->outputs);
    return found;
}

std::string lineOf(const nlohmann::ordered_json &found)
{
    std::string line = found["port"].get<std::string>() + " at " + found["baud"].dump() + " baud";
    if (!found.contains("serial"))
        return line + ": streams, but does not answer\n";
    return line + ": serial number " + found["serial"].get<std::string>() + ", streams " +
           found["outputs"].get<std::string>() + " at " + found["rate"].dump() + " Hz\n";
}

ExitStatus find(Runtime &runtime)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    ExitStatus status = ExitStatus::Done;
    for (const std::string &path : runtime.chosenPorts()) {
        try {
            list.push_back(findOne(runtime, path));
        } catch (const Failure &failure) {
            if (failure.status() == ExitStatus::Interrupted)
                throw;
            Runtime::complain(failure.what());
            status = failure.status();
            continue;
        }
        if (!runtime.options().json)
            runtime.out().write(lineOf(list.back()));
    }
    if (runtime.options().json)
        runtime.out().write(list.dump(2) + "\n");
    return status;
}

} // namespace

void addFind(CLI::App &app, Request &request)
{
    CLI::App &command =
        addCommand(app, request, "find",
                   "Find the baud rate of a device, also of one that the window does not find",
                   "  vornixctl find\n"
                   "  vornixctl find ttyUSB0\n"
                   "  vornixctl find --all --json",
                   find);
    addPortsOption(command, request.common);
    addJsonOption(command, request.common);
    addQuietOption(command, request.common);
}

} // namespace cli
