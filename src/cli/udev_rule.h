#pragma once

#include <string>

namespace cli {

// The path of the installed udev rule of a package, below `root` (default: this computer); empty if
// there is none.
std::string installedUdevRule(const std::string &root = {});

} // namespace cli
