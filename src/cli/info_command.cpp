// vornixctl info: what a device reports about itself, and what arrives from it.

#include <array>
#include <charconv>
#include <memory>

#include <nlohmann/json.hpp>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/record_format.h"
#include "cli/runtime.h"
#include "cli/settings_text.h"
#include "session/error.h"

namespace cli {

namespace {

using session::Device;

constexpr double kRateSeconds = 1;

struct Measurement
{
    double rateHz = 0;
    std::uint64_t damaged = 0;
};

// The rate follows from the times of the first and the last sample, so it does not depend on when
// the measurement begins.
class RateMeter
{
public:
    void add(const session::Sample &sample)
    {
        if (m_count++ == 0)
            m_first = sample.time.monotonic;
        m_last = sample.time.monotonic;
    }

    // Since the last call.
    double takeHz()
    {
        const double seconds = std::chrono::duration<double>(m_last - m_first).count();
        const double hertz = seconds > 0 ? static_cast<double>(m_count - 1) / seconds : 0;
        m_first = m_last;
        m_count = m_count == 0 ? 0 : 1; // the last sample begins the next interval
        return hertz;
    }

private:
    std::uint64_t m_count = 0;
    std::chrono::steady_clock::time_point m_first, m_last;
};

std::string fixed(double value)
{
    std::array<char, 64> digits;
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                            std::chars_format::fixed, 1);
    return {digits.data(), end};
}

Measurement measure(Runtime &runtime, Device &device, RateMeter &meter)
{
    const std::uint64_t before = device.statistics().damaged;
    runtime.wait([&] { return !device.isOpen(); }, kRateSeconds);
    throwIf(device.isOpen() ? std::error_code{}
                            : session::make_error_code(session::Error::LinkLost),
            device.path());
    return {meter.takeHz(), device.statistics().damaged - before};
}

std::string textOf(const Device &device, const session::Settings &settings, const Measurement &seen)
{
    return "port:          " + device.path() +
           "\nserial number: " + serialText(settings.serialNumber) +
           "\nfirmware:      " + versionText(settings.firmwareVersion) +
           "\nhardware:      " + versionText(settings.hardwareVersion) +
           "\nbaud:          " + std::to_string(settings.baud) +
           "\nrate:          " + std::to_string(settings.rateHz) +
           " Hz\noutputs:       " + outputsText(settings.outputs) +
           "\nmeasured:      " + fixed(seen.rateHz) + " Hz, " + std::to_string(seen.damaged) +
           " damaged packets\n";
}

nlohmann::ordered_json jsonOf(const Device &device, const session::Settings &settings,
                              const Measurement &seen)
{
    nlohmann::ordered_json json = settingsJson(settings);
    json["port"] = device.path();
    json["measured_rate"] = seen.rateHz;
    json["damaged_packets"] = seen.damaged;
    return json;
}

std::string watchLine(const Device &device, const Measurement &seen)
{
    return fixed(seen.rateHz) + " Hz, " + std::to_string(device.statistics().samples) +
           " samples, " + std::to_string(device.statistics().damaged) + " damaged packets";
}

// Until it is interrupted. A terminal shows one line that changes, other readers get one line a
// second.
void watch(Runtime &runtime, Device &device, const session::Settings &settings, RateMeter &meter)
{
    for (;;) {
        const Measurement seen = measure(runtime, device, meter);
        if (runtime.options().json)
            runtime.out().write(jsonOf(device, settings, seen).dump() + "\n");
        else if (Runtime::isTerminal())
            runtime.out().write('\r' + watchLine(device, seen) + "\x1b[K");
        else
            runtime.out().write(watchLine(device, seen) + "\n");
        runtime.out().flush();
    }
}

ExitStatus info(Runtime &runtime, bool isWatching)
{
    const auto device = runtime.connectChosen();
    const auto settings = device->readSettings();
    throwIf(settings.error(), device->path());
    RateMeter meter;
    device->onSample([&meter](const session::Sample &sample) { meter.add(sample); });
    const Measurement seen = measure(runtime, *device, meter);
    if (!isWatching || !runtime.options().json)
        runtime.out().write(runtime.options().json ? jsonOf(*device, *settings, seen).dump(2) + "\n"
                                                   : textOf(*device, *settings, seen));
    if (isWatching)
        watch(runtime, *device, *settings, meter);
    return ExitStatus::Done;
}

} // namespace

void addInfo(CLI::App &app, Request &request)
{
    auto isWatching = std::make_shared<bool>(false);
    CLI::App &command =
        addCommand(app, request, "info",
                   "Print serial number, versions, settings, measured rate and damaged packets",
                   "  vornixctl info\n"
                   "  vornixctl info ttyUSB0 --json\n"
                   "  vornixctl info --watch",
                   [isWatching](Runtime &runtime) { return info(runtime, *isWatching); });
    addPortOption(command, request.common);
    command.add_flag("--watch", *isWatching, "Then print the rate every second until interrupted");
    addJsonOption(command, request.common);
    addQuietOption(command, request.common);
}

} // namespace cli
