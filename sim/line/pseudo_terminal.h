#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace sim {

// Owning file descriptor (RAII).
class FileDescriptor
{
public:
    explicit FileDescriptor(int fd = -1)
        : m_fd(fd)
    {
    }
    FileDescriptor(FileDescriptor &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~FileDescriptor();

    int get() const { return m_fd; }

private:
    int m_fd;
};

// Throws std::system_error if the descriptor is invalid; `what` names the call that returned it.
FileDescriptor checked(int fd, const char *what);

// A new pseudo-terminal: its master, which does not block. Throws std::system_error.
FileDescriptor openPseudoTerminal();
// The path at which a host opens the terminal of this master. Throws std::system_error.
std::string pseudoTerminalPath(int master);

// The baud rate that is set for the terminal; empty if it cannot be read or the kernel has no
// constant for it.
std::optional<std::uint32_t> terminalBaud(int terminal);

} // namespace sim
