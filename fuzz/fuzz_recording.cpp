// The text of a recording is either refused with a line number or parsed. A parsed recording that
// is written and parsed again is the same.

#include "fuzz/check.h"

#include "sim/Recording.h"

#include <algorithm>
#include <sstream>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    try {
        const sim::Recording recording = sim::parseRecording(text);
        FUZZ_CHECK(recording.header.baud > 0);
        std::chrono::microseconds last{0};
        std::ostringstream again;
        writeHeader(again, recording.header);
        for (const sim::RecordedEvent &event : recording.events) {
            FUZZ_CHECK(event.at >= last);
            last = event.at;
            writeEvent(again, event);
        }
        FUZZ_CHECK(sim::parseRecording(again.str()) == recording);
    } catch (const sim::RecordingError &error) {
        FUZZ_CHECK(error.line() >= 1 && error.line() <= lines);
    }
    return 0;
}
