// The options for the device, the line and the adapter, with their strict defaults.

#include "sim/cli/options.h"

#include <algorithm>
#include <cctype>

#include "sim/cli/option_values.h"

using namespace std::chrono_literals;

namespace sim {

namespace {

constexpr double kClockDriftPpm = 20;
constexpr double kRateDrift = 1e-4;
constexpr int kLongestLatencyMs = 255;

using AdapterMaker = std::function<AdapterModel(Time)>;

const std::map<std::string, AdapterMaker> kAdapters{
    {"ftdi", AdapterModel::ftdi},
    {"cp210x", [](Time) { return AdapterModel::cp210x(); }},
    {"ch340", [](Time) { return AdapterModel::ch340(); }},
    {"cdc-acm", [](Time) { return AdapterModel::cdcAcm(); }},
    {"none", [](Time) { return AdapterModel::none(); }}};

// A name for a node in /dev, not a path.
bool isPortName(const std::string &name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '_' || c == '-';
    });
}

} // namespace

void Options::addTimes(const std::string &name, const char *help, TimeRange &times,
                       const TimeRange &strict)
{
    times = strict;
    m_kind[name] = [&times] { times = {}; };
    m_app
        ->add_option_function<std::string>(
            name, [name, &times](const std::string &value) { times = timeRange(name, value); },
            help)
        ->type_name("MS[-MS]");
}

void Options::addDeviceOptions()
{
    Configuration &c = m_configuration;
    CLI::App &app = optionsOf(kDeviceGroup);
    app.add_option("--baud", c.device.settings.baud, "Stored baud rate [115200]")->type_name("N");
    app.add_option("--line-baud", c.device.fallbackBaud,
                   "Baud rate of the line while the stored one is not supported [the stored one]")
        ->check(CLI::Range(1, 4'000'000).description(""))
        ->type_name("N");
    app.add_option("--rate", c.device.settings.rateHz, "Stored data rate [100]")->type_name("HZ");
    app.add_option("--outputs", c.device.settings.outputs,
                   "Stored outputs mask, such as 0x1FF [0xFF]")
        ->type_name("MASK");
    addChoice(app, "--motion", "KIND", "still, spin, tumble, turn, vibration or hand [hand]",
              motions(), c.device.motion);
    app.add_option("--seed", c.device.seed, "Seed of all random values [1]")->type_name("N");
    app.add_option("--serial", c.device.serialNumber, "Serial number [0xC0FFEE]")->type_name("N");
    app.add_option("--calibration-points", c.calibrationPoints,
                   "Points in its calibration memory, at most 600 [120]")
        ->check(CLI::Range(0, 600).description(""))
        ->type_name("N");
    app.add_option("--calibration-bytes", c.calibrationBytes,
                   "Cut or pad that memory to a size, at most 12800 [whole pages]")
        ->check(CLI::Range(0, 12800).description(""))
        ->type_name("N");
    app.add_flag("--easy", c.easy, "Simple device and line: switches off the defaults below");
    addTimes("--flash-time", "To save, reset or store a calibration, in ms [50-400]",
             c.device.flashTime, {50ms, 400ms});
    app.add_flag("--stale-samples", c.device.staleSamplesDuringFlash,
                 "Repeats the last sample meanwhile, instead of none");
    addTimes("--baud-change-time", "From the reply to the new baud rate, in ms [20-250]",
             c.device.baudChangeTime, {20ms, 250ms});
    app.add_flag("--check-outputs", c.device.checksHostOutputs,
                 "Refuses to save or reset if the host holds other outputs");
    c.device.clockDriftPpm = kClockDriftPpm;
    addNumber(app, "--clock-drift", "PPM", "Error of its clock, in parts per million [20]", -1e5,
              1e5, [&c](double ppm) { c.device.clockDriftPpm = ppm; });
    m_kind["--clock-drift"] = [&c] { c.device.clockDriftPpm = 0; };
    SensorOptions &sensors = c.device.sensors;
    addNumber(app, "--gyro-noise", "R", "Deviation of its rates, in rad/s [0.002]", 0, 1,
              [&sensors](double noise) { sensors.rateNoise = noise; });
    addNumber(app, "--gyro-bias", "R", "Offset of its rates, in rad/s [0]", -1, 1,
              [&sensors](double bias) { sensors.rateBias = bias; });
    sensors.rateDrift = kRateDrift;
    addNumber(app, "--gyro-drift", "R", "Of that offset, in rad/s per kelvin [0.0001]", -1, 1,
              [&sensors](double drift) { sensors.rateDrift = drift; });
    m_kind["--gyro-drift"] = [&sensors] { sensors.rateDrift = 0; };
    c.device.fallbackBaud = 0;
    m_kind["--line-baud"] = [&c] { c.device.fallbackBaud = DeviceOptions().fallbackBaud; };
}

void Options::addLineOptions()
{
    Configuration &c = m_configuration;
    CLI::App &app = optionsOf(kLineGroup);
    app.add_option("--link", c.link,
                   "Keep a symbolic link to the pseudo-terminal there (without COMMAND)")
        ->type_name("PATH");
    addEach(app, "--port", "NAME",
            "Name of the adapter, repeat for several devices (with COMMAND) [ttyUSB0]",
            [&c](const std::string &option, const std::string &name) {
                if (!isPortName(name) ||
                    std::find(c.ports.begin(), c.ports.end(), name) != c.ports.end())
                    refuse(option, name);
                c.ports.push_back(name);
            });
    app.add_flag("--statistics", c.statistics,
                 "At the end, print on standard error what became of its packets");
}

void Options::addAdapterOptions()
{
    Configuration &c = m_configuration;
    CLI::App &app = optionsOf(kAdapterGroup);
    addChoice(app, "--adapter", "KIND", "ftdi, cp210x, ch340, cdc-acm or none [ftdi]", kAdapters,
              m_adapter);
    m_adapter = kAdapters.at("ftdi");
    m_kind["--adapter"] = [this] { m_adapter = kAdapters.at("none"); };
    app.add_option("--latency-timer", m_latencyMs, "Of an FTDI adapter, in ms [1]")
        ->check(CLI::Range(1, kLongestLatencyMs).description(""))
        ->type_name("N");
    c.line.startsMidPacket = true;
    c.line.receiveQueue = kTerminalQueue;
}

// Applies what depends on several options.
void Options::finishLine()
{
    Configuration &c = m_configuration;
    if (c.easy) {
        for (const auto &[name, makeKind] : m_kind) {
            if (m_app->get_option(name)->count() == 0)
                makeKind();
        }
        c.line.startsMidPacket = false;
        c.line.receiveQueue = 0;
    }
    c.line.adapter = m_adapter(std::chrono::milliseconds(m_latencyMs));
}

} // namespace sim
