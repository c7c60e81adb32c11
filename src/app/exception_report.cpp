#include "app/exception_report.h"

#include <boost/system/system_error.hpp>

using namespace Qt::StringLiterals;

namespace {

QString hintFor(const boost::system::error_code &code)
{
    if (code == boost::system::errc::permission_denied)
        return u" (may this user open the port? Join the dialout group, or install the program's "
               "udev rule, and log in again)"_s;
    if (code == boost::system::errc::no_such_file_or_directory ||
        code == boost::system::errc::no_such_device)
        return u" (is the adapter still plugged in? Scan again)"_s;
    if (code == boost::system::errc::device_or_resource_busy)
        return u" (in use by another program)"_s;
    return {};
}

} // namespace

QString exceptionReport(const std::exception &error)
{
    QString report = u"Unhandled error: "_s + QString::fromLocal8Bit(error.what());
    if (const auto *system = dynamic_cast<const boost::system::system_error *>(&error))
        report += hintFor(system->code());
    return report;
}
