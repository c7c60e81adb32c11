// Arguments of vornix-sim, one a line; a unit that they describe runs for a moment.

#include "fuzz/check.h"

#include "sim/CommandLine.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

std::vector<std::string> lines(const std::uint8_t *data, std::size_t size)
{
    std::vector<std::string> all(1);
    std::for_each(data, data + size, [&](std::uint8_t byte) {
        if (byte == '\n')
            all.emplace_back();
        else
            all.back().push_back(static_cast<char>(byte));
    });
    return all;
}

void run(const sim::DeviceOptions &options)
{
    using namespace std::chrono_literals;
    sim::Device device(options);
    const std::vector<unsigned char> getSettings{0x53, 0x43, 0x0C, 0x00, 0x0C, 0x07,
                                                 0x08, 0x09, 0x10, 0x11, 0x45, 0x00};
    device.receive(getSettings, device.lineBaud(), 1ms);
    for (sim::Time now = 1ms; now < 4ms; now += 1ms) {
        while (device.transmit(now)) {
        }
        FUZZ_CHECK(device.nextEvent() > now);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const sim::CommandLine line = sim::parseCommandLine(lines(data, size));
    const bool refused = line.action == sim::CommandLine::Action::Refuse;
    FUZZ_CHECK(refused == !line.problem.empty());
    if (line.action != sim::CommandLine::Action::Run)
        return 0;
    const sim::Configuration &asked = line.configuration;
    FUZZ_CHECK(asked.calibrationPoints <= 600);
    FUZZ_CHECK(asked.ports.empty() == asked.command.empty());
    FUZZ_CHECK(!asked.returnAfter || asked.unplugAfter);
    FUZZ_CHECK(asked.device.fallbackBaud > 0);
    FUZZ_CHECK(asked.device.faults.byteLoss >= 0 && asked.device.faults.byteLoss <= 1);
    run(asked.device);
    return 0;
}
