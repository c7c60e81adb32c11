#pragma once

#include <string>

// What a figure depends on, in one line: processor, cores, GL renderer, and how busy the machine is
// now. Needs a QGuiApplication.
std::string conditions();
