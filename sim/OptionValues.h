#pragma once

#include "sim/Body.h"
#include "sim/Faults.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// What stands behind an option, as text. Each reader takes the whole of it or returns false; what
// it has put into the value then means nothing. Pure.
namespace sim {

// Decimal, or hexadecimal after 0x; nothing else before or behind.
template <typename T>
bool readInteger(std::string_view text, T &value)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    if (hex)
        text.remove_prefix(2);
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

template <typename T, std::size_t N>
bool readChoice(const std::string &text,
                const std::array<std::pair<std::string_view, T>, N> &choices, T &value)
{
    const auto found = std::find_if(choices.begin(), choices.end(),
                                    [&](const auto &choice) { return choice.first == text; });
    if (found == choices.end())
        return false;
    value = found->second;
    return true;
}

inline constexpr std::array<std::pair<std::string_view, Motion>, 4> kMotions{
    {{"still", Motion::Still},
     {"spin", Motion::Spin},
     {"tumble", Motion::Tumble},
     {"hand", Motion::Hand}}};

inline constexpr std::array<std::pair<std::string_view, ReplyShape>, 4> kShapes{
    {{"whole", ReplyShape::Whole},
     {"split", ReplyShape::Split},
     {"broken", ReplyShape::Broken},
     {"joined", ReplyShape::Joined}}};

bool readNumber(std::string_view text, double &value); // finite
bool readMilliseconds(std::string_view text, std::chrono::milliseconds &value);
bool readSeconds(std::string_view text, std::optional<std::chrono::milliseconds> &value);
// A factor, or "max" for none.
bool readSpeed(const std::string &text, std::optional<double> &value);

// "DATA_RATE", "data_rate" or "8"; nothing if it is no block code.
std::optional<unsigned char> blockCode(const std::string &text);

// "CODE:VALUE"; `fallback` if there is no value.
struct CodeAndValue
{
    unsigned char code;
    unsigned value;
};

std::optional<CodeAndValue> readCodeAndValue(const std::string &text,
                                             std::optional<unsigned> fallback);

// A name for a node in /dev, not a path.
bool isPortName(const std::string &name);

} // namespace sim
