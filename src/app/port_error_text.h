#pragma once

#include <boost/system/system_error.hpp>

#include <QString>

// An error of the port in words for the user, in the language in force: what failed and why, and
// below that what to do about it where that is known. Plain text. GUI thread.
QString portErrorText(const boost::system::system_error &error);
