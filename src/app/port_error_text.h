#pragma once

#include <boost/system/error_code.hpp>

#include <QString>

// An error of the port that can be copied: a copied system_error loses the driver's text.
struct PortError
{
    boost::system::error_code code;
    QString what; // the operation, a colon and the system's message
};

// An error of the port in words for the user, in the language in force: what failed and why, and
// below that what to do about it where that is known. Plain text. GUI thread.
QString portErrorText(const PortError &error);
