#pragma once

#include <stdexcept>
#include <string>
#include <system_error>

namespace cli {

// How the program ends. Scripts depend on the numbers.
enum class ExitStatus {
    Done = 0,
    Failed = 1,
    Usage = 2,
    NoDevice = 3, // no port, no device on it, or unplugged meanwhile
    NoPermission = 4,
    Busy = 5, // another program has the port
    NoAnswer = 6,
    Refused = 7,   // by the device
    JudgedBad = 8, // the command did its work, and the result is not good
    Interrupted = 130,
};

ExitStatus exitStatusOf(std::error_code error);

// Ends the command. what() is the complete message for the user, without the program's name; it is
// empty if everything has been said.
class Failure : public std::runtime_error
{
public:
    Failure(ExitStatus status, const std::string &message)
        : std::runtime_error(message)
        , m_status(status)
    {
    }
    ExitStatus status() const { return m_status; }

private:
    ExitStatus m_status;
};

// Throws a Failure for an error: what was attempted, the error, and what to do about it where that
// is known. Does nothing if there is no error.
void throwIf(std::error_code error, const std::string &attempted);

} // namespace cli
