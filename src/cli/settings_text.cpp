#include "cli/settings_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include <nlohmann/json.hpp>

#include "cli/exit_status.h"
#include "cli/record_format.h"
#include "session/outputs.h"

namespace cli {

namespace {

using session::Settings;

// What the device accepts.
constexpr std::array<std::uint32_t, 6> kRates{50, 100, 200, 400, 500, 1000};
constexpr std::array<std::uint32_t, 6> kBauds{57600, 115200, 230400, 460800, 921600, 1000000};
constexpr std::uint16_t kFullOutputs = 0x00FF;
constexpr std::uint16_t kKnownOutputs = 0x01FF;
// Keys of a settings file that state facts.
constexpr std::array<std::string_view, 3> kFacts{"serial", "firmware", "hardware"};

[[noreturn]] void refuse(const std::string &problem)
{
    throw Failure(ExitStatus::Usage, problem);
}

template <std::size_t N>
std::string listOf(const std::array<std::uint32_t, N> &values)
{
    std::string text;
    for (const std::uint32_t value : values)
        text += (text.empty() ? "" : ", ") + std::to_string(value);
    return text;
}

std::optional<std::uint32_t> number(std::string_view text)
{
    const bool isHex = text.starts_with("0x");
    if (isHex)
        text.remove_prefix(2);
    std::uint32_t value = 0;
    const auto [rest, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, isHex ? 16 : 10);
    if (error != std::errc() || rest != text.data() + text.size())
        return std::nullopt;
    return value;
}

template <std::size_t N>
std::uint32_t oneOf(const std::array<std::uint32_t, N> &values, std::string_view key,
                    std::optional<std::uint32_t> value, const std::string &text)
{
    if (!value || std::find(values.begin(), values.end(), *value) == values.end())
        refuse(std::string(key) + ": bad value " + text + "; possible are " + listOf(values));
    return *value;
}

std::uint16_t outputBit(std::string_view name)
{
    const session::Output *output = session::outputNamed(name);
    if (!output) {
        std::string names;
        for (const session::Output &known : session::allOutputs())
            (names += names.empty() ? "" : ", ") += known.name;
        refuse("outputs: unknown output \"" + std::string(name) + "\"; possible are " + names +
               ", full, none, or a mask such as 0x47");
    }
    return output->bit;
}

void setValue(SettingsChange &change, std::string_view key, std::optional<std::uint32_t> value,
              const std::string &text)
{
    if (key == "rate")
        change.rateHz = static_cast<std::uint16_t>(oneOf(kRates, key, value, text));
    else if (key == "baud")
        change.baud = oneOf(kBauds, key, value, text);
    else
        refuse("unknown setting \"" + std::string(key) + "\"; possible are rate, outputs, baud");
}

std::uint16_t outputsIn(const nlohmann::ordered_json &value)
{
    if (value.is_string())
        return parseOutputs(value.get<std::string>());
    if (!value.is_array())
        refuse("outputs: bad value " + value.dump() + "; a list of names is needed");
    unsigned mask = 0;
    for (const auto &name : value) {
        if (!name.is_string())
            refuse("outputs: bad value " + name.dump() + "; a name is needed");
        mask |= outputBit(name.get<std::string>());
    }
    return static_cast<std::uint16_t>(mask);
}

void readEntry(SettingsChange &change, const std::string &key, const nlohmann::ordered_json &value)
{
    if (std::find(kFacts.begin(), kFacts.end(), key) != kFacts.end())
        return;
    if (key == "outputs") {
        change.outputs = outputsIn(value);
        return;
    }
    std::optional<std::uint32_t> known;
    if (value.is_number_unsigned() && value.get<std::uint64_t>() <= UINT32_MAX)
        known = value.get<std::uint32_t>();
    setValue(change, key, known, value.dump());
}

} // namespace

Settings SettingsChange::appliedTo(Settings settings) const
{
    settings.rateHz = rateHz.value_or(settings.rateHz);
    settings.baud = baud.value_or(settings.baud);
    settings.outputs = outputs.value_or(settings.outputs);
    return settings;
}

std::string outputsText(std::uint16_t mask)
{
    std::string text;
    for (const session::Output &output : session::allOutputs()) {
        if ((mask & output.bit) != 0)
            (text += text.empty() ? "" : ",") += output.name;
    }
    if (const unsigned others = mask & ~unsigned{kKnownOutputs}; others != 0)
        text += (text.empty() ? "0x" : ",0x") + serialText(others);
    return text.empty() ? "none" : text;
}

std::uint16_t parseOutputs(std::string_view text)
{
    if (text == "none")
        return 0;
    if (text == "full")
        return kFullOutputs;
    if (const auto mask = number(text)) {
        if (*mask > kKnownOutputs)
            refuse("outputs: bad mask " + std::string(text) + "; at most 0x1ff");
        return static_cast<std::uint16_t>(*mask);
    }
    unsigned mask = 0;
    while (true) {
        const std::size_t comma = text.find(',');
        mask |= outputBit(text.substr(0, comma));
        if (comma == std::string_view::npos)
            return static_cast<std::uint16_t>(mask);
        text.remove_prefix(comma + 1);
    }
}

void parseAssignment(std::string_view text, SettingsChange &change)
{
    const std::size_t equals = text.find('=');
    const std::string_view key = text.substr(0, equals);
    const std::string_view value = equals == std::string_view::npos ? "" : text.substr(equals + 1);
    if (key == "outputs")
        change.outputs = parseOutputs(value);
    else
        setValue(change, key, number(value), std::string("\"").append(value).append("\""));
}

SettingsChange parseSettingsFile(std::string_view text, const std::string &name)
{
    SettingsChange change;
    try {
        const auto file = nlohmann::ordered_json::parse(text);
        if (!file.is_object())
            refuse("not a settings file");
        for (const auto &[key, value] : file.items())
            readEntry(change, key, value);
    } catch (const nlohmann::json::exception &) {
        refuse(name + ": not a settings file");
    } catch (const Failure &failure) {
        refuse(name + ": " + failure.what());
    }
    return change;
}

nlohmann::ordered_json settingsJson(const Settings &settings)
{
    nlohmann::ordered_json outputs = nlohmann::ordered_json::array();
    for (const session::Output &output : session::allOutputs()) {
        if ((settings.outputs & output.bit) != 0)
            outputs.push_back(output.name);
    }
    return {{"serial", serialText(settings.serialNumber)},
            {"firmware", versionText(settings.firmwareVersion)},
            {"hardware", versionText(settings.hardwareVersion)},
            {"rate", settings.rateHz},
            {"outputs", std::move(outputs)},
            {"baud", settings.baud}};
}

std::string settingsText(const Settings &settings)
{
    return "rate=" + std::to_string(settings.rateHz) + " outputs=" + outputsText(settings.outputs) +
           " baud=" + std::to_string(settings.baud);
}

std::string lineLoadText(const Settings &settings)
{
    constexpr double kPercent = 100;
    const double load = session::lineLoad(settings.outputs, settings.rateHz, settings.baud);
    return std::to_string(std::lround(load * kPercent)) + " %";
}

std::string versionText(std::uint16_t version)
{
    return serialText(version >> 8) + "." + serialText(version & 0xFFU);
}

} // namespace cli
