#include "session/baud_rate_search.h"

#include <array>

#include "session/error.h"

namespace session {

namespace {

// Factory setting, then the other baud rates of the device, then those that only a line without a
// device setting has.
constexpr std::array<unsigned, 14> kRates{115200, 921600, 460800,  230400,  1000000, 57600, 500000,
                                          576000, 38400,  1152000, 2000000, 3000000, 19200, 9600};
// Parts of the time for each baud rate: listening, then two requests.
constexpr int kParts = 3;
constexpr int kRequests = kParts - 1;

bool heard(const Statistics &now, const Statistics &before)
{
    return now.samples != before.samples || now.replies != before.replies;
}

std::error_code tryBaudRate(Device &device, std::chrono::milliseconds perRate)
{
    const Statistics before = device.statistics();
    const auto error = device.runUntil([&] { return heard(device.statistics(), before); },
                                       std::chrono::steady_clock::now() + perRate / kParts);
    if (error != std::errc::timed_out)
        return error;
    const RetryPolicy usual = device.retryPolicy();
    device.setRetryPolicy({.perAttempt = perRate / kParts, .attempts = kRequests});
    const auto answer = device.readSettings();
    device.setRetryPolicy(usual);
    if (heard(device.statistics(), before))
        return {};
    return answer.error();
}

} // namespace

std::span<const unsigned> searchedBaudRates()
{
    return kRates;
}

std::error_code findBaudRate(Device &device, const std::string &path, const BaudRateSearch &search)
{
    for (const unsigned baud : search.rates) {
        if (search.onTrial)
            search.onTrial(baud);
        if (const auto error = device.open(path, baud)) {
            // The adapter does not have this baud rate.
            if (error == std::errc::invalid_argument)
                continue;
            return error;
        }
        const auto error = tryBaudRate(device, search.perRate);
        if (!error)
            return {};
        device.close();
        if (error != Error::NoAnswer)
            return error;
    }
    return Error::NotFound;
}

} // namespace session
