#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// What passed a line, and when. The text form is told in docs/recordings.md. Pure: any thread.

// What is known of the unit. Only the speed matters to a replay, the rest is for the reader.
struct RecordingHeader
{
    std::uint32_t baud = 115200; // of the line when the recording begins
    std::uint16_t rateHz = 100;
    std::uint16_t outputs = 0x00FF;
    float zeroThreshold = 0;
    std::string motion = "hand"; // a word
    std::uint64_t seed = 1;
    std::uint32_t serialNumber = 0;
    std::string faults = "none"; // as on the command line

    bool operator==(const RecordingHeader &) const = default;
};

struct RecordedEvent
{
    enum class Kind {
        Heard,    // bytes of the unit, intact at the host's end
        Unheard,  // bytes of the unit for which no host listened at its speed
        FromHost, // bytes of the host
        Baud,     // the unit's line runs at `baud` from now on
        Unplug,
        PlugIn,
    };

    std::chrono::microseconds at{0}; // since the beginning
    Kind kind = Kind::Heard;
    std::vector<unsigned char> bytes{}; // not empty for the first three kinds
    std::uint32_t baud = 0;             // for Kind::Baud

    bool operator==(const RecordedEvent &) const = default;
};

// Events are in the order of time. The cable is in at first; nothing passes it while it is out.
struct Recording
{
    RecordingHeader header;
    std::vector<RecordedEvent> events;

    bool operator==(const Recording &) const = default;
};

// Names the line: "line 7: ...".
class RecordingError : public std::runtime_error
{
public:
    RecordingError(std::size_t line, const std::string &problem);
    std::size_t line() const { return m_line; }

private:
    std::size_t m_line;
};

// Throws RecordingError at the first line that is not as it should be.
Recording parseRecording(std::string_view text);
// The same for a file; a problem is std::runtime_error that names it.
Recording readRecording(const std::string &path);

void writeHeader(std::ostream &out, const RecordingHeader &header);
void writeEvent(std::ostream &out, const RecordedEvent &event);

} // namespace sim
