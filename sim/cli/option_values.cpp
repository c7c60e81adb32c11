#include "sim/cli/option_values.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "protocol/protocol.h"

namespace sim {

namespace {

constexpr std::array<const char *, protocol::kBlockCodeCount> kCodeNames{"RATES",
                                                                         "ACCELERATIONS",
                                                                         "QUATERNION",
                                                                         "ALTITUDE",
                                                                         "COVARIANCES",
                                                                         "EULER",
                                                                         "MAGNETIC_FIELD",
                                                                         "BAUD_RATE",
                                                                         "DATA_RATE",
                                                                         "OUTPUTS",
                                                                         "FACTORY_RESET",
                                                                         "SAVE_SETTINGS",
                                                                         "GET",
                                                                         "SET",
                                                                         "MAGNETIC_FIELD_RAW",
                                                                         "MAG_CALIBRATION",
                                                                         "VERSIONS",
                                                                         "SERIAL_NUMBER",
                                                                         "START_CALIBRATION",
                                                                         "STOP_CALIBRATION",
                                                                         "CALIBRATION_DATA",
                                                                         "CALIBRATION_DATA_SIZE",
                                                                         "RESERVED_22",
                                                                         "ZERO_THRESHOLD"};

constexpr int kLongestTimeMs = 60'000;

} // namespace

void refuse(const std::string &option, const std::string &value)
{
    throw CLI::ValidationError(option, "bad value \"" + value + "\"");
}

unsigned char blockCode(const std::string &option, const std::string &text)
{
    std::string name = text;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const auto named = std::find(kCodeNames.begin(), kCodeNames.end(), name);
    const auto code = named != kCodeNames.end() ? named - kCodeNames.begin()
                                                : number<std::ptrdiff_t>(option, text);
    if (code < 0 || code >= protocol::kBlockCodeCount)
        refuse(option, text);
    return static_cast<unsigned char>(code);
}

std::pair<unsigned char, int> codeAndValue(const std::string &option, const std::string &text,
                                           std::optional<int> defaultValue)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos && !defaultValue)
        refuse(option, text);
    const int value =
        colon == std::string::npos ? *defaultValue : number<int>(option, text.substr(colon + 1));
    if (value < 0)
        refuse(option, text);
    return {blockCode(option, text.substr(0, colon)), value};
}

TimeRange timeRange(const std::string &option, const std::string &text)
{
    const std::size_t dash = text.find('-');
    const int least = number<int>(option, text.substr(0, dash));
    const int most = dash == std::string::npos ? least : number<int>(option, text.substr(dash + 1));
    if (least < 0 || most < least || most > kLongestTimeMs)
        refuse(option, text);
    return {std::chrono::milliseconds(least), std::chrono::milliseconds(most)};
}

const std::map<std::string, Motion> &motions()
{
    static const std::map<std::string, Motion> words{
        {"still", Motion::Still}, {"spin", Motion::Spin},           {"tumble", Motion::Tumble},
        {"turn", Motion::Turn},   {"vibration", Motion::Vibration}, {"hand", Motion::Hand}};
    return words;
}

void addNumber(CLI::App &app, const std::string &name, const char *valueName, const char *help,
               double minimum, double maximum, std::function<void(double)> apply)
{
    app.add_option_function<double>(
           name,
           [name, minimum, maximum, apply = std::move(apply)](double value) {
               if (!(value >= minimum && value <= maximum))
                   refuse(name, std::to_string(value));
               apply(value);
           },
           help)
        ->type_name(valueName);
}

} // namespace sim
