// vornixctl ports: the USB serial ports of this computer.

#include <nlohmann/json.hpp>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/port_list.h"
#include "cli/port_users.h"
#include "cli/runtime.h"

namespace cli {

namespace {

std::string orDash(const std::string &text)
{
    return text.empty() ? "-" : text;
}

bool mayOpen(const UsbPort &port)
{
    return ::access(port.path.c_str(), R_OK | W_OK) == 0;
}

nlohmann::ordered_json jsonOf(const UsbPort &port)
{
    nlohmann::ordered_json users = nlohmann::ordered_json::array();
    for (const Process &process : processesUsing(port.path))
        users.push_back({{"pid", process.id}, {"name", process.name}});
    return {{"path", port.path},
            {"vendor_id", port.vendorId},
            {"product_id", port.productId},
            {"manufacturer", port.manufacturer},
            {"product", port.product},
            {"serial", port.serialNumber},
            {"driver", port.driver},
            {"may_open", mayOpen(port)},
            {"open_in", std::move(users)}};
}

std::string lineOf(const UsbPort &port)
{
    const std::string users = textOf(processesUsing(port.path));
    return port.path + "\t" + orDash(port.vendorId) + ":" + orDash(port.productId) + "\t" +
           orDash(port.product) + "\tserial " + orDash(port.serialNumber) + "\tdriver " +
           orDash(port.driver) + "\t" + (mayOpen(port) ? "may open" : "no permission") +
           (users.empty() ? "" : "\topen in " + users) + "\n";
}

ExitStatus listPorts(Runtime &runtime)
{
    const std::vector<UsbPort> ports = usbPorts();
    if (runtime.options().json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const UsbPort &port : ports)
            list.push_back(jsonOf(port));
        runtime.out().write(list.dump(2) + "\n");
    } else {
        for (const UsbPort &port : ports)
            runtime.out().write(lineOf(port));
    }
    if (ports.empty())
        throw Failure(ExitStatus::NoDevice, "no USB serial port found");
    return ExitStatus::Done;
}

} // namespace

void addPorts(CLI::App &app, Request &request)
{
    CLI::App &command = addCommand(app, request, "ports", "List the USB serial ports",
                                   "  vornixctl ports\n"
                                   "  vornixctl ports --json | jq -r '.[].path'",
                                   listPorts);
    addJsonOption(command, request.common);
}

} // namespace cli
