#include "cli/positive_option.h"

#include <CLI/CLI.hpp>

namespace cli {

CLI::Option &addPositiveOption(CLI::App &command, const std::string &name,
                               std::optional<double> &value, double most, const std::string &text,
                               const std::string &type)
{
    return *command
                .add_option_function<double>(
                    name,
                    [&value, name, most](double given) {
                        // Not the parser's range check, because that accepts NaN.
                        if (!(given > 0 && given <= most))
                            throw CLI::ValidationError(name, "out of range");
                        value = given;
                    },
                    text)
                ->type_name(type);
}

} // namespace cli
