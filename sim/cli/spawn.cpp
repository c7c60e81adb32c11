#include "sim/cli/spawn.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <system_error>

#include <elf.h>
#include <link.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace sim {

namespace {

constexpr const char *kTestbedLibrary = "libumockdev-preload.so.0";

std::string readFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Reads a structure at `offset`. Empty if it extends past the end of the file.
template <typename T>
std::optional<T> readAt(const std::string &file, std::uint64_t offset)
{
    if (offset > file.size() || file.size() - offset < sizeof(T))
        return std::nullopt;
    T value;
    std::memcpy(&value, file.data() + offset, sizeof value);
    return value;
}

std::optional<ElfW(Ehdr)> readHeader(const std::string &file)
{
    const auto header = readAt<ElfW(Ehdr)>(file, 0);
    constexpr unsigned char kClass = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;
    if (!header || std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 ||
        header->e_ident[EI_CLASS] != kClass)
        return std::nullopt;
    return header;
}

bool isSanitizer(const std::string &library)
{
    const std::string name = std::filesystem::path(library).filename();
    return name.rfind("libasan.so", 0) == 0 || name.rfind("libtsan.so", 0) == 0;
}

std::vector<std::string> split(const std::string &list)
{
    std::vector<std::string> parts;
    std::string normalised = list;
    for (char &c : normalised) {
        if (c == ':')
            c = ' ';
    }
    std::istringstream stream(normalised);
    for (std::string part; stream >> part;)
        parts.push_back(part);
    return parts;
}

std::string findOnPath(const std::string &command)
{
    if (command.find('/') != std::string::npos)
        return command;
    const char *path = std::getenv("PATH");
    std::istringstream directories(path ? path : "");
    for (std::string directory; std::getline(directories, directory, ':');) {
        std::string candidate = directory + "/" + command;
        if (::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return command;
}

} // namespace

std::vector<std::string> neededLibraries(const std::string &executable)
{
    const std::string file = readFile(executable);
    const auto header = readHeader(file);
    if (!header)
        return {};
    std::vector<std::string> libraries;
    for (unsigned i = 0; i < header->e_shnum; ++i) {
        const auto section =
            readAt<ElfW(Shdr)>(file, header->e_shoff + std::uint64_t{i} * header->e_shentsize);
        if (!section || section->sh_type != SHT_DYNAMIC)
            continue;
        const auto names = readAt<ElfW(Shdr)>(
            file, header->e_shoff + std::uint64_t{section->sh_link} * header->e_shentsize);
        for (std::uint64_t at = 0; names && at < section->sh_size; at += sizeof(ElfW(Dyn))) {
            const auto entry = readAt<ElfW(Dyn)>(file, section->sh_offset + at);
            if (!entry || entry->d_tag == DT_NULL)
                break;
            const std::uint64_t name = names->sh_offset + entry->d_un.d_val;
            if (entry->d_tag == DT_NEEDED && name < file.size())
                libraries.emplace_back(file.c_str() + name);
        }
    }
    return libraries;
}

std::string preloadList(const std::string &current, const std::vector<std::string> &needed)
{
    std::vector<std::string> sanitizers;
    std::vector<std::string> others;
    for (const std::string &library : split(current))
        (isSanitizer(library) ? sanitizers : others).push_back(library);
    if (sanitizers.empty()) {
        for (const std::string &library : needed) {
            if (isSanitizer(library))
                sanitizers.push_back(library);
        }
    }
    std::string list;
    for (const std::string &library : sanitizers)
        list += library + ":";
    list += kTestbedLibrary;
    for (const std::string &library : others) {
        if (library.find("libumockdev-preload") == std::string::npos)
            list += ":" + library;
    }
    return list;
}

pid_t launch(const std::vector<std::string> &command)
{
    const char *preload = std::getenv("LD_PRELOAD");
    const std::string list =
        preloadList(preload ? preload : "", neededLibraries(findOnPath(command.front())));

    std::vector<std::string> environment;
    for (char **entry = environ; *entry; ++entry) {
        if (std::strncmp(*entry, "LD_PRELOAD=", 11) != 0)
            environment.emplace_back(*entry);
    }
    environment.push_back("LD_PRELOAD=" + list);

    const auto pointers = [](const std::vector<std::string> &strings) {
        std::vector<char *> result;
        result.reserve(strings.size() + 1);
        for (const std::string &string : strings)
            result.push_back(const_cast<char *>(string.c_str()));
        result.push_back(nullptr);
        return result;
    };
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    // The test bed ignores this signal, by which a command ends whose reader has ended.
    sigset_t byDefault;
    sigemptyset(&byDefault);
    sigaddset(&byDefault, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &byDefault);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t child = -1;
    const int error = ::posix_spawnp(&child, command.front().c_str(), nullptr, &attributes,
                                     pointers(command).data(), pointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command.front());
    return child;
}

int exitStatus(int waitStatus)
{
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

} // namespace sim
