#pragma once

#include <system_error>

namespace session {

// Errors of a device. Errors of the port itself (it does not exist, permission denied, busy) are
// those of the system, in std::system_category(); both compare with std::errc.
enum class Error {
    NoAnswer = 1, // no attempt was answered before its deadline
    Refused,      // the device answered that it did not obey, or with another value
    LinkLost,     // the port stopped working while it was open
    NotFound,     // no device at any baud rate
    NotOpen,
    Stopped, // the io_context was stopped during the wait
};

const std::error_category &errorCategory();
std::error_code make_error_code(Error error); // NOLINT(readability-identifier-naming): found by ADL

} // namespace session

template <>
struct std::is_error_code_enum<session::Error> : std::true_type
{
};
