#pragma once

#include <string>
#include <vector>

namespace cli {

struct Process
{
    int id = 0;
    std::string name;
};

// Other processes that have the device node open, as far as this user may see: those of other users
// are visible only to root.
std::vector<Process> processesUsing(const std::string &path);

// Processes with that name ("ModemManager"), of all users.
std::vector<Process> processesNamed(const std::string &name);

// "stty (1234), screen (99)"; empty for none.
std::string textOf(const std::vector<Process> &processes);

} // namespace cli
