#pragma once

#include <string>

#include "cli/runtime.h"
#include "cli/settings_text.h"
#include "session/device.h"

namespace cli {

struct WriteOptions
{
    bool save = false;
    bool dryRun = false;
    bool force = false; // also outputs that do not fit through the line
    bool yes = false;
};

// Writes what differs, in the order of the window: rate, baud rate, outputs; reads back and
// compares, and saves. Prints the old values beside the new ones and asks before it writes. Throws
// a Failure; if the device has been written to by then, the message says which values it has now.
void writeSettings(Runtime &runtime, session::Device &device, const SettingsChange &change,
                   const WriteOptions &options);

// Notes for settings with which the window does not find the device.
void noteHidden(const Runtime &runtime, const session::Settings &settings);
bool isHiddenFromWindow(const session::Settings &settings);

} // namespace cli
