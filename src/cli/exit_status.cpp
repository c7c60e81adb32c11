#include "cli/exit_status.h"

#include "session/error.h"

namespace cli {

ExitStatus exitStatusOf(std::error_code error)
{
    using session::Error;
    if (!error)
        return ExitStatus::Done;
    if (error == Error::Stopped)
        return ExitStatus::Interrupted;
    if (error == Error::NoAnswer)
        return ExitStatus::NoAnswer;
    if (error == Error::Refused)
        return ExitStatus::Refused;
    if (error == Error::NotFound)
        return ExitStatus::NoAnswer;
    if (error == Error::LinkLost || error == std::errc::no_such_file_or_directory ||
        error == std::errc::no_such_device || error == std::errc::no_such_device_or_address ||
        error == std::errc::io_error) // the last: a port that vanishes while it is opened
        return ExitStatus::NoDevice;
    if (error == std::errc::permission_denied || error == std::errc::operation_not_permitted)
        return ExitStatus::NoPermission;
    if (error == std::errc::device_or_resource_busy)
        return ExitStatus::Busy;
    return ExitStatus::Failed;
}

namespace {

std::string hintFor(std::error_code error)
{
    switch (exitStatusOf(error)) {
    case ExitStatus::NoPermission:
        return ": join the group dialout or install the udev rule, then log in again";
    case ExitStatus::Busy:
        return ": another program has the port open";
    default:
        break;
    }
    if (error == session::Error::NotFound)
        return ": is it the right port, and is the device switched on?";
    return {};
}

} // namespace

void throwIf(std::error_code error, const std::string &attempted)
{
    if (!error)
        return;
    const ExitStatus status = exitStatusOf(error);
    if (status == ExitStatus::Interrupted)
        throw Failure(status, {});
    throw Failure(status, attempted + ": " + error.message() + hintFor(error));
}

} // namespace cli
