#include "app/port_error_text.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace {

QString hintFor(const boost::system::error_code &code)
{
    namespace errc = boost::system::errc;
    if (code == errc::permission_denied)
        return QCoreApplication::translate(
            "MainWindow", "This user may not open the port: join the group dialout or install the "
                          "program's udev rule, then log in again.");
    if (code == errc::device_or_resource_busy)
        return QCoreApplication::translate("MainWindow", "The port is in use by another program.");
    if (code == errc::no_such_file_or_directory)
        return QCoreApplication::translate(
            "MainWindow", "The port is gone: plug the device in, then scan again.");
    if (code == errc::io_error || code == errc::no_such_device ||
        code == errc::no_such_device_or_address)
        return QCoreApplication::translate(
            "MainWindow", "The device may be unplugged: plug it in, choose Disconnect, then "
                          "connect again.");
    return {};
}

} // namespace

QString portErrorText(const PortError &error)
{
    const QString failed =
        QCoreApplication::translate("MainWindow", "The serial port failed:\n%1").arg(error.what);
    const QString hint = hintFor(error.code);
    return hint.isEmpty() ? failed : failed + u"\n\n"_s + hint;
}
