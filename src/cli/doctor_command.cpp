// vornixctl doctor: what prevents the use of a device. Changes nothing.

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>

#include <grp.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/port_list.h"
#include "cli/port_users.h"
#include "cli/runtime.h"
#include "cli/settings_text.h"
#include "cli/settings_writer.h"
#include "cli/udev_rule.h"
#include "session/error.h"
#include "session/outputs.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using session::Device;

constexpr double kMeasurementSeconds = 5;
// Of the rate that the device has set; fewer samples than that were skipped or lost.
constexpr double kLowestShare = 0.9;

enum class Level { Good, Warning, Bad };

// Collects and prints the findings.
class Report
{
public:
    explicit Report(Runtime &runtime)
        : m_runtime(runtime)
    {
    }

    void add(Level level, const std::string &subject, const std::string &finding,
             const std::string &advice = {})
    {
        m_isBad = m_isBad || level == Level::Bad;
        m_json.push_back({{"subject", subject}, {"level", nameOf(level)}, {"finding", finding}});
        if (!advice.empty())
            m_json.back()["advice"] = advice;
        if (m_runtime.options().json)
            return;
        m_runtime.out().write(nameOf(level) + ": " + subject + ": " + finding +
                              (advice.empty() ? "" : "; " + advice) + "\n");
    }

    ExitStatus finish()
    {
        if (m_runtime.options().json)
            m_runtime.out().write(m_json.dump(2) + "\n");
        return m_isBad ? ExitStatus::JudgedBad : ExitStatus::Done;
    }

private:
    static std::string nameOf(Level level)
    {
        constexpr std::array kNames{"good", "warning", "bad"};
        return kNames[static_cast<std::size_t>(level)];
    }

    Runtime &m_runtime;
    nlohmann::ordered_json m_json = nlohmann::ordered_json::array();
    bool m_isBad = false;
};

std::string firstLine(const fs::path &file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

std::string groupName(gid_t id)
{
    const group *entry = ::getgrgid(id);
    return entry ? entry->gr_name : std::to_string(id);
}

bool isInGroup(gid_t id)
{
    std::array<gid_t, NGROUPS_MAX> groups{};
    const int count = ::getgroups(NGROUPS_MAX, groups.data());
    return id == ::getegid() || std::find(groups.begin(), groups.begin() + std::max(count, 0),
                                          id) != groups.begin() + std::max(count, 0);
}

void checkPermission(Report &report, const std::string &path)
{
    struct stat node = {};
    if (::stat(path.c_str(), &node) != 0) {
        report.add(Level::Bad, "port", path + " does not exist", "plug the device in");
        return;
    }
    report.add(Level::Good, "port", path);
    const std::string group = groupName(node.st_gid);
    const bool isMember = isInGroup(node.st_gid);
    report.add(Level::Good, "groups",
               "the port belongs to the group " + group + "; this user is " +
                   (isMember ? "" : "not ") + "in it");
    if (::access(path.c_str(), R_OK | W_OK) == 0)
        report.add(Level::Good, "permission", "this user may open the port");
    else
        report.add(Level::Bad, "permission", "this user may not open the port",
                   "join the group " + group + " or install the udev rule, then log in again");
}

void checkUdevRule(Report &report)
{
    const std::string path = installedUdevRule();
    if (path.empty())
        report.add(Level::Warning, "udev rule", "not installed",
                   "install the package vornix or vornix-cli");
    else
        report.add(Level::Good, "udev rule", path);
}

void checkAdapter(Report &report, const std::string &path)
{
    const std::vector<UsbPort> ports = usbPorts();
    const auto port = std::find_if(ports.begin(), ports.end(),
                                   [&](const UsbPort &known) { return known.path == path; });
    if (port == ports.end()) {
        report.add(Level::Warning, "adapter", "not a USB serial port");
        return;
    }
    report.add(Level::Good, "adapter",
               port->vendorId + ":" + port->productId + " " + port->product +
                   (port->driver.empty() ? "" : ", driver " + port->driver));
    const std::string latency = firstLine(fs::path(port->sysPath) / "device" / "latency_timer");
    if (latency.empty() || latency == "1")
        report.add(Level::Good, "latency timer",
                   latency.empty() ? "the adapter has none" : latency + " ms");
    else
        report.add(Level::Warning, "latency timer",
                   latency + " ms: samples arrive in groups that far apart",
                   "install the udev rule, then plug the device in again");
}

void checkModemManager(Report &report)
{
    if (const auto managers = processesNamed("ModemManager"); !managers.empty())
        report.add(Level::Warning, "ModemManager",
                   "runs and may write to a port that is plugged in",
                   "install the udev rule, which keeps it away");
    else
        report.add(Level::Good, "ModemManager", "does not run");
}

// Returns true if another program has the port open.
bool checkOtherPrograms(Report &report, const std::string &path)
{
    const std::string users = textOf(processesUsing(path));
    if (users.empty()) {
        report.add(Level::Good, "other programs", "none that this user can see has the port open");
        return false;
    }
    report.add(Level::Bad, "other programs", "the port is open in " + users, "end that program");
    return true;
}

void checkLoad(Report &report, const session::Settings &settings, double measuredHz)
{
    const double load = session::lineLoad(settings.outputs, settings.rateHz, settings.baud);
    const std::string need = "outputs at " + std::to_string(settings.rateHz) + " Hz need " +
                             lineLoadText(settings) + " of the line";
    if (load > 1)
        report.add(Level::Bad, "line load", need,
                   "choose fewer outputs, a lower rate or a higher "
                   "baud rate: vornixctl settings set");
    else
        report.add(Level::Good, "line load", need);
    if (settings.outputs == 0)
        report.add(Level::Bad, "rate", "the device streams nothing",
                   "choose outputs: vornixctl settings set outputs=full");
    else
        report.add(measuredHz < kLowestShare * settings.rateHz ? Level::Warning : Level::Good,
                   "rate",
                   "measured " + std::to_string(std::lround(measuredHz)) + " Hz of " +
                       std::to_string(settings.rateHz) + " Hz");
}

void checkPackets(Runtime &runtime, Report &report, Device &device,
                  const session::Settings &settings)
{
    const session::Statistics before = device.statistics();
    runtime.wait([&] { return !device.isOpen(); }, kMeasurementSeconds);
    if (!device.isOpen())
        throwIf(session::make_error_code(session::Error::LinkLost), device.path());
    const session::Statistics &now = device.statistics();
    const auto samples = now.samples - before.samples;
    const auto damaged = now.damaged - before.damaged;
    report.add(damaged == 0 ? Level::Good : Level::Warning, "packets",
               std::to_string(samples) + " intact and " + std::to_string(damaged) +
                   " damaged packets in 5 s",
               damaged == 0 ? "" : "check cable and adapter");
    checkLoad(report, settings, static_cast<double>(samples) / kMeasurementSeconds);
}

void checkDevice(Runtime &runtime, Report &report, const std::string &path)
{
    Device device(runtime.context());
    try {
        runtime.connect(device, path);
    } catch (const Failure &failure) {
        if (failure.status() == ExitStatus::Interrupted)
            throw;
        report.add(Level::Bad, "device", failure.what());
        return;
    }
    report.add(Level::Good, "device", "found at " + std::to_string(device.baud()) + " baud");
    const auto settings = device.readSettings();
    if (!settings) {
        if (exitStatusOf(settings.error()) == ExitStatus::Interrupted)
            throwIf(settings.error(), path);
        report.add(Level::Bad, "settings", settings.error().message(),
                   "switch the device off and on");
        return;
    }
    report.add(Level::Good, "settings", settingsText(*settings));
    if (isHiddenFromWindow(*settings))
        report.add(Level::Bad, "window", "does not find the device with these settings",
                   "vornixctl rescue");
    else
        report.add(Level::Good, "window", "finds the device with these settings");
    checkPackets(runtime, report, device, *settings);
}

ExitStatus doctor(Runtime &runtime)
{
    const std::string path = runtime.chosenPort();
    Report report(runtime);
    checkPermission(report, path);
    checkAdapter(report, path);
    checkUdevRule(report);
    checkModemManager(report);
    // Root may open a port that is in use, and would take bytes from the other program.
    if (checkOtherPrograms(report, path))
        report.add(Level::Warning, "device", "not checked, because the port is in use");
    else
        checkDevice(runtime, report, path);
    return report.finish();
}

} // namespace

void addDoctor(CLI::App &app, Request &request)
{
    CLI::App &command = addCommand(app, request, "doctor",
                                   "Check what prevents the use of a device; changes nothing",
                                   "  vornixctl doctor\n"
                                   "  vornixctl doctor ttyUSB0 --json > report.json",
                                   doctor);
    addPortOption(command, request.common);
    addJsonOption(command, request.common);
    addQuietOption(command, request.common);
}

} // namespace cli
