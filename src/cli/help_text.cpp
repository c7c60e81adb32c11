#include "cli/help_text.h"

#include <algorithm>
#include <string_view>

#include <CLI/CLI.hpp>

namespace cli {

namespace {

constexpr std::size_t kColumnWidth = 30;
constexpr std::string_view kUsage = "Usage: ";
constexpr std::string_view kExamples = "Examples:\n";

// Omits the parser's notes on types and occurrences, because the option texts contain them.
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter()
    {
        column_width(kColumnWidth);
        label("SUBCOMMAND", "COMMAND");
        label("OPTIONS", "OPTION...");
    }
    std::string make_option_opts(const CLI::Option *option) const override
    {
        const std::string value = option->get_type_name();
        return value.empty() ? "" : " " + value;
    }
};

// The text without the line that begins with `begin`.
std::string withoutLine(std::string text, std::string_view begin)
{
    const std::size_t at = text.find(begin);
    if (at != std::string::npos)
        text.erase(at, text.find('\n', at) + 1 - at);
    return text;
}

// Each line as a paragraph.
std::string withBlankLines(std::string_view lines)
{
    std::string text;
    for (const char c : lines)
        text += c == '\n' ? "\n\n" : std::string(1, c);
    return text;
}

// A section whose heading is the usage of the command. It has no other headings, because a manual
// page moves those to other places.
std::string sectionOf(const CLI::App &command, const std::string &parents)
{
    const std::string text = command.help(parents);
    const std::size_t usage = text.find(kUsage);
    const std::size_t end = text.find('\n', usage);
    const std::size_t examples = std::min(text.find(kExamples), text.size());
    std::string options = text.substr(end + 1, examples - end - 1);
    for (const std::string_view line : {"Positionals:", "Options:", "  -h,--help"})
        options = withoutLine(options, line);
    const std::size_t lines = std::min(examples + kExamples.size(), text.size());
    return "\n" + text.substr(usage + kUsage.size(), end - usage - kUsage.size()) + ":\n  " +
           text.substr(0, usage) + options + withBlankLines(text.substr(lines));
}

void appendCommands(std::string &text, const CLI::App &app, const std::string &parents)
{
    const std::string name = parents + app.get_name();
    for (const CLI::App *command : app.get_subcommands(nullptr)) {
        if (command->get_subcommands(nullptr).empty())
            text += sectionOf(*command, name);
        else
            appendCommands(text, *command, name + " ");
    }
}

} // namespace

std::shared_ptr<CLI::FormatterBase> helpFormatter()
{
    return std::make_shared<HelpFormatter>();
}

std::string completeHelp(const CLI::App &app)
{
    std::string text = app.help();
    appendCommands(text, app, {});
    return text;
}

} // namespace cli
