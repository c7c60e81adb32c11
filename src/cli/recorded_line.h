#pragma once

#include <functional>
#include <string>

#include "recording/recording.h"
#include "session/receiver.h"

namespace cli {

class Runtime;

// Reads a recording. A file that was cut in its last line, for example because a disk was full, is
// read up to there, and a note says so. Throws a Failure if it cannot be read or is invalid.
recording::Recording readRecordedLine(const Runtime &runtime, const std::string &path);

// Feeds the bytes that left the device to the receiver, as they were received. Times count from the
// beginning of the recording: 1970-01-01 in UTC, 0 on the monotonic clock. Ends early if
// `isInterrupted` returns true.
void feedRecordedLine(const recording::Recording &recording, session::Receiver &receiver,
                      const std::function<bool()> &isInterrupted);

} // namespace cli
