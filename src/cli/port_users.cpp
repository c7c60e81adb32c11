#include "cli/port_users.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

namespace cli {

namespace {

namespace fs = std::filesystem;

std::string nameOf(const fs::path &process)
{
    std::ifstream file(process / "comm");
    std::string name;
    std::getline(file, name);
    return name;
}

// Calls `visit` with each entry of a folder that can be read.
template <typename Visit>
void forEach(const fs::path &folder, Visit visit)
{
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
        visit(entry->path());
}

// Calls `visit` with the id and the folder of each other process.
template <typename Visit>
void forEachProcess(Visit visit)
{
    forEach("/proc", [&](const fs::path &folder) {
        const std::string text = folder.filename();
        int id = 0;
        const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), id);
        if (error == std::errc() && rest == text.data() + text.size() && id != ::getpid())
            visit(id, folder);
    });
}

bool isSameNode(const fs::path &descriptor, const struct stat &node)
{
    struct stat open = {};
    return ::stat(descriptor.c_str(), &open) == 0 && S_ISCHR(open.st_mode) &&
           open.st_rdev == node.st_rdev && open.st_ino == node.st_ino && open.st_dev == node.st_dev;
}

} // namespace

std::vector<Process> processesUsing(const std::string &path)
{
    std::vector<Process> users;
    struct stat node = {};
    if (::stat(path.c_str(), &node) != 0)
        return users;
    forEachProcess([&](int id, const fs::path &folder) {
        bool uses = false;
        forEach(folder / "fd",
                [&](const fs::path &descriptor) { uses = uses || isSameNode(descriptor, node); });
        if (uses)
            users.push_back({id, nameOf(folder)});
    });
    return users;
}

std::vector<Process> processesNamed(const std::string &name)
{
    std::vector<Process> found;
    forEachProcess([&](int id, const fs::path &folder) {
        if (nameOf(folder) == name)
            found.push_back({id, name});
    });
    return found;
}

std::string textOf(const std::vector<Process> &processes)
{
    std::string text;
    for (const Process &process : processes)
        text += (text.empty() ? "" : ", ") + process.name + " (" + std::to_string(process.id) + ")";
    return text;
}

} // namespace cli
