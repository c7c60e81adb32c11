#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace cli {

// Adds an option whose value is a number above 0 and at most `most`; not a number is refused.
// `type` names the value in the help text.
CLI::Option &addPositiveOption(CLI::App &command, const std::string &name,
                               std::optional<double> &value, double most, const std::string &text,
                               const std::string &type);

// In seconds: a deadline must fit the clock.
inline constexpr double kLongestDuration = 1e9;

} // namespace cli
