#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "session/settings.h"

namespace cli {

// Settings to write; what is empty stays as it is.
struct SettingsChange
{
    std::optional<std::uint16_t> rateHz;
    std::optional<std::uint32_t> baud;
    std::optional<std::uint16_t> outputs;

    session::Settings appliedTo(session::Settings settings) const;
};

// "quaternion,euler", or "none".
std::string outputsText(std::uint16_t mask);
// The reverse; also "full" (all that the window offers) and numbers such as 0x47.
// Throws a Failure (Usage) for anything else, like the functions below.
std::uint16_t parseOutputs(std::string_view text);

// "rate=100", "outputs=quaternion,euler" or "baud=115200".
void parseAssignment(std::string_view text, SettingsChange &change);
// The content of a settings file; `name` is for messages.
SettingsChange parseSettingsFile(std::string_view text, const std::string &name);

// As a settings file has it: the settings, and facts about the device, which an import ignores.
nlohmann::ordered_json settingsJson(const session::Settings &settings);
// "rate=100 outputs=quaternion,euler baud=115200".
std::string settingsText(const session::Settings &settings);

// "81 %": the share of the line that these settings need.
std::string lineLoadText(const session::Settings &settings);

// "2.3": the high and the low byte in hexadecimal, as the window shows versions.
std::string versionText(std::uint16_t version);

} // namespace cli
