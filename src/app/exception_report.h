#pragma once

#include <exception>

#include <QString>

// One line about an exception that nobody caught, with a hint where the user can do something
// about the cause.
QString exceptionReport(const std::exception &error);
