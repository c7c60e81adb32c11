#include "session/error.h"

#include <string>

namespace session {

namespace {

class Category : public std::error_category
{
public:
    const char *name() const noexcept override { return "vornix"; }

    std::string message(int number) const override
    {
        switch (static_cast<Error>(number)) {
        case Error::NoAnswer:
            return "the device does not answer";
        case Error::Refused:
            return "the device refused";
        case Error::LinkLost:
            return "the port stopped working; the device may be unplugged";
        case Error::NotFound:
            return "no device found at any baud rate";
        case Error::NotOpen:
            return "the port is not open";
        case Error::Stopped:
            return "interrupted";
        }
        return "unknown error";
    }

    std::error_condition default_error_condition(int number) const noexcept override
    {
        switch (static_cast<Error>(number)) {
        case Error::NoAnswer:
            return std::errc::timed_out;
        case Error::LinkLost:
            return std::errc::io_error;
        case Error::NotFound:
            return std::errc::no_such_device;
        case Error::NotOpen:
            return std::errc::not_connected;
        case Error::Stopped:
            return std::errc::operation_canceled;
        default:
            return {number, *this};
        }
    }
};

} // namespace

const std::error_category &errorCategory()
{
    static const Category category;
    return category;
}

std::error_code make_error_code(Error error) // NOLINT(readability-identifier-naming)
{
    return {static_cast<int>(error), errorCategory()};
}

} // namespace session
