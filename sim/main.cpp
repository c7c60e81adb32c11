#include "sim/Program.h"

#include <exception>
#include <iostream>
#include <system_error>

namespace {

// As shells have it.
constexpr int kUsageError = 2;
constexpr int kCannotRun = 126;
constexpr int kNotFound = 127;

int complain(const std::string &problem)
{
    std::cerr << "vornix-sim: " << problem << "\n";
    return 1;
}

int run(const sim::Configuration &configuration)
{
    try {
        return sim::serve(configuration);
    } catch (const std::system_error &error) {
        complain(error.what());
        if (configuration.command.empty())
            return 1;
        return error.code() == std::errc::no_such_file_or_directory ? kNotFound : kCannotRun;
    } catch (const std::exception &error) {
        return complain(error.what());
    }
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const sim::CommandLine line = sim::parseCommandLine(arguments);
    switch (line.action) {
    case sim::CommandLine::Action::ShowHelp:
        std::cout << sim::helpText();
        return 0;
    case sim::CommandLine::Action::ShowVersion:
        std::cout << "vornix-sim " VORNIX_VERSION "\n";
        return 0;
    case sim::CommandLine::Action::Refuse:
        complain(line.problem + "\nTry vornix-sim --help.");
        return kUsageError;
    case sim::CommandLine::Action::Run:
        return run(line.configuration);
    }
    return 1;
}
