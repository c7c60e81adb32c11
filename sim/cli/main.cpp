#include <exception>
#include <iostream>
#include <system_error>

#include <CLI/Error.hpp>

#include "sim/cli/options.h"
#include "sim/cli/run.h"

namespace {

// Exit statuses that shells use for the same failures.
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
    sim::Options options;
    try {
        return run(options.parse(arguments));
    } catch (const CLI::ParseError &error) {
        return options.report(error);
    }
}
