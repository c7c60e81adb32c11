#pragma once

#include <charconv>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "sim/device/imu_simulator.h"

namespace sim {

// The forms of the values that the options of vornix-sim take. The functions throw
// CLI::ValidationError, which names the option, for any other text.

inline const std::string kDeviceGroup = "The device";
inline const std::string kLineGroup = "The line";
inline const std::string kAdapterGroup = "The adapter";
inline const std::string kRecordingGroup = "Recordings";
inline const std::string kFaultGroup = "Faults (CODE is a name such as DATA_RATE, or its number)";

inline constexpr double kLongestWait = 1e6; // in seconds

[[noreturn]] void refuse(const std::string &option, const std::string &value);

template <typename T>
T number(const std::string &option, const std::string &text)
{
    T value{};
    const char *const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end)
        refuse(option, text);
    return value;
}

// "DATA_RATE", "data_rate" or "8".
unsigned char blockCode(const std::string &option, const std::string &text);

// "CODE:VALUE", or "CODE" alone if there is a default.
std::pair<unsigned char, int> codeAndValue(const std::string &option, const std::string &text,
                                           std::optional<int> defaultValue);

// "MS" or "MS-MS", the smaller first.
TimeRange timeRange(const std::string &option, const std::string &text);

// The words of --motion.
const std::map<std::string, Motion> &motions();

template <typename T>
std::vector<std::string> namesOf(const std::map<std::string, T> &choices)
{
    std::vector<std::string> names;
    names.reserve(choices.size());
    for (const auto &[name, value] : choices)
        names.push_back(name);
    return names;
}

// Calls `apply` with the value of each occurrence.
template <typename Apply>
CLI::Option *addEach(CLI::App &app, const std::string &name, const char *valueName,
                     const char *help, Apply apply)
{
    return app
        .add_option_function<std::vector<std::string>>(
            name,
            [name, apply](const std::vector<std::string> &values) {
                for (const std::string &value : values)
                    apply(name, value);
            },
            help)
        ->allow_extra_args(false)
        ->type_name(valueName);
}

template <typename T>
CLI::Option *addChoice(CLI::App &app, const std::string &name, const char *valueName,
                       const char *help, const std::map<std::string, T> &choices, T &chosen)
{
    return app
        .add_option_function<std::string>(
            name, [&choices, &chosen](const std::string &value) { chosen = choices.at(value); },
            help)
        ->check(CLI::IsMember(namesOf(choices)).description(""))
        ->type_name(valueName);
}

// Not the parser's range check, because that accepts NaN.
void addNumber(CLI::App &app, const std::string &name, const char *valueName, const char *help,
               double minimum, double maximum, std::function<void(double)> apply);

} // namespace sim
