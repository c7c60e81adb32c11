// Prints ten attitudes of the device on a port: print_attitude /dev/ttyUSB0

#include <cstdio>

#include "session/baud_rate_search.h"
#include "session/device.h"
#include "session/outputs.h"

// NOLINTNEXTLINE(bugprone-exception-escape): an exception ends the example with its text
int main(int argc, char **argv)
{
    boost::asio::io_context context;
    session::Device device(context);
    if (const auto error = session::findBaudRate(device, argc > 1 ? argv[1] : "/dev/ttyUSB0")) {
        std::fprintf(stderr, "%s\n", error.message().c_str());
        return 1;
    }
    const auto settings = device.readSettings();
    if (!settings) {
        std::fprintf(stderr, "%s\n", settings.error().message().c_str());
        return 1;
    }
    std::printf("serial number %x, %u Hz\n", settings->serialNumber, settings->rateHz);

    const auto output = session::outputNamed("euler")->bit;
    int left = 10;
    device.onSample([&](const session::Sample &sample) {
        if (sample.has(output) && left-- > 0)
            std::printf("%.2f %.2f %.2f\n", sample.euler[0], sample.euler[1], sample.euler[2]);
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    return device.runUntil([&] { return left <= 0; }, deadline) ? 1 : 0;
}
