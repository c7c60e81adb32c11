// The text of a recording is either refused with a line number or parsed. A parsed recording that
// is written and parsed again is the same.

#include <algorithm>
#include <sstream>
#include <string_view>

#include "fuzz/check.h"
#include "recording/recording.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    try {
        const recording::Recording recording = recording::parseRecording(text);
        FUZZ_CHECK(recording.header.baud > 0);
        std::chrono::microseconds last{0};
        std::ostringstream again;
        writeHeader(again, recording.header);
        for (const recording::RecordedEvent &event : recording.events) {
            FUZZ_CHECK(event.at >= last);
            last = event.at;
            writeEvent(again, event);
        }
        FUZZ_CHECK(recording::parseRecording(again.str()) == recording);
    } catch (const recording::RecordingError &error) {
        FUZZ_CHECK(error.line() >= 1 && error.line() <= lines);
    }
    return 0;
}
