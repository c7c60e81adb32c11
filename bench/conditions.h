#pragma once

#include <string>

// The measurement conditions in one line: processor, cores, GL renderer, and the current load of
// the machine. Needs a QGuiApplication.
std::string conditions();
