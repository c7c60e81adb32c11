#include "sim/line/pseudo_terminal.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace sim {

namespace {

struct BaudCode
{
    speed_t constant;
    std::uint32_t baud;
};

constexpr std::array<BaudCode, 31> kBaudCodes{{
    {B0, 0},
    {B50, 50},
    {B75, 75},
    {B110, 110},
    {B134, 134},
    {B150, 150},
    {B200, 200},
    {B300, 300},
    {B600, 600},
    {B1200, 1200},
    {B1800, 1800},
    {B2400, 2400},
    {B4800, 4800},
    {B9600, 9600},
    {B19200, 19200},
    {B38400, 38400},
    {B57600, 57600},
    {B115200, 115200},
    {B230400, 230400},
    {B460800, 460800},
    {B500000, 500000},
    {B576000, 576000},
    {B921600, 921600},
    {B1000000, 1000000},
    {B1152000, 1152000},
    {B1500000, 1500000},
    {B2000000, 2000000},
    {B2500000, 2500000},
    {B3000000, 3000000},
    {B3500000, 3500000},
    {B4000000, 4000000},
}};

} // namespace

FileDescriptor::~FileDescriptor()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

FileDescriptor checked(int fd, const char *what)
{
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return FileDescriptor(fd);
}

FileDescriptor openPseudoTerminal()
{
    FileDescriptor master =
        checked(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "posix_openpt");
    if (::grantpt(master.get()) != 0 || ::unlockpt(master.get()) != 0)
        throw std::system_error(errno, std::generic_category(), "unlockpt");
    return master;
}

// Built from the number, because inside a testbed ptsname() returns the name of a mocked port.
std::string pseudoTerminalPath(int master)
{
    unsigned int number = 0;
    if (::ioctl(master, TIOCGPTN, &number) != 0)
        throw std::system_error(errno, std::generic_category(), "TIOCGPTN");
    return "/dev/pts/" + std::to_string(number);
}

std::optional<std::uint32_t> terminalBaud(int terminal)
{
    termios line{};
    if (::tcgetattr(terminal, &line) != 0)
        return std::nullopt;
    const speed_t constant = ::cfgetospeed(&line);
    for (const BaudCode &code : kBaudCodes) {
        if (code.constant == constant)
            return code.baud;
    }
    return std::nullopt;
}

} // namespace sim
