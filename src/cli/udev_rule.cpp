#include "cli/udev_rule.h"

#include <array>
#include <filesystem>
#include <system_error>

namespace cli {

std::string installedUdevRule(const std::string &root)
{
    constexpr std::array kFolders{"/etc/udev/rules.d", "/run/udev/rules.d", "/usr/lib/udev/rules.d",
                                  "/usr/local/lib/udev/rules.d", "/lib/udev/rules.d"};
    constexpr std::array kNames{"/70-vornix.rules", "/70-vornix-cli.rules"};
    for (const char *folder : kFolders) {
        for (const char *name : kNames) {
            std::string path = root + folder + name;
            std::error_code ignored;
            if (std::filesystem::exists(path, ignored))
                return path;
        }
    }
    return {};
}

} // namespace cli
