#pragma once

#include <exception>

#include <QString>

// One line about an uncaught exception, with a hint if the user can remove the cause.
QString exceptionReport(const std::exception &error);
