#include "sim/OptionValues.h"

#include <cctype>
#include <cmath>

#include "driver/protocol.h"

namespace sim {

namespace {

using std::chrono::milliseconds;

constexpr double kSlowestReplay = 0.01;
constexpr double kFastestReplay = 1000;

constexpr std::array<std::string_view, protocol::kBlockCodeCount> kCodeNames{
    "RATES",
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

} // namespace

bool readNumber(std::string_view text, double &value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

bool readMilliseconds(std::string_view text, milliseconds &value)
{
    unsigned count = 0;
    if (!readInteger(text, count))
        return false;
    value = milliseconds(count);
    return true;
}

bool readSeconds(std::string_view text, std::optional<milliseconds> &value)
{
    double count = 0;
    if (!readNumber(text, count) || count < 0 || count > 1e6)
        return false;
    value = milliseconds(static_cast<milliseconds::rep>(count * 1000.0));
    return true;
}

bool readSpeed(const std::string &text, std::optional<double> &value)
{
    if (text == "max") {
        value.reset();
        return true;
    }
    value = 0.0;
    return readNumber(text, *value) && *value >= kSlowestReplay && *value <= kFastestReplay;
}

std::optional<unsigned char> blockCode(const std::string &text)
{
    std::string name = text;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const auto named = std::find(kCodeNames.begin(), kCodeNames.end(), name);
    if (named != kCodeNames.end())
        return static_cast<unsigned char>(named - kCodeNames.begin());
    unsigned char number = 0;
    if (readInteger(text, number) && number < protocol::kBlockCodeCount)
        return number;
    return std::nullopt;
}

std::optional<CodeAndValue> readCodeAndValue(const std::string &text,
                                             std::optional<unsigned> fallback)
{
    const std::size_t colon = text.find(':');
    const auto code = blockCode(text.substr(0, colon));
    unsigned value = fallback.value_or(0);
    const bool hasValue = colon != std::string::npos;
    if (!code || (hasValue && !readInteger(std::string_view(text).substr(colon + 1), value)) ||
        (!hasValue && !fallback))
        return std::nullopt;
    return CodeAndValue{*code, value};
}

bool isPortName(const std::string &name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '_' || c == '-';
    });
}

} // namespace sim
