#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace recording {

// The bytes and events of a line with their times. docs/recordings.md describes the text format.
// Pure: any thread.

// Facts about the recorded device. A replay uses only the baud rate; the rest is information for
// people.
struct RecordingHeader
{
    std::uint32_t baud = 115200; // of the line at the start of the recording
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
        Delivered,   // bytes of the device that reach the host intact
        Undelivered, // bytes of the device that no host receives intact
        FromHost,    // bytes of the host
        Baud,        // the baud rate of the device is `baud` from now on
        Unplug,
        PlugIn,
    };

    std::chrono::microseconds at{0}; // since the start of the recording
    Kind kind = Kind::Delivered;
    std::vector<unsigned char> bytes{}; // not empty for the first three kinds
    std::uint32_t baud = 0;             // for Kind::Baud

    bool operator==(const RecordedEvent &) const = default;
};

// Events are ordered by time. The cable is plugged in at first; while it is unplugged there are no
// bytes.
struct Recording
{
    RecordingHeader header;
    std::vector<RecordedEvent> events;

    bool operator==(const Recording &) const = default;
};

// The message begins with the line number: "line 7: ...".
class RecordingError : public std::runtime_error
{
public:
    RecordingError(std::size_t line, const std::string &problem);
    std::size_t line() const { return m_line; }

private:
    std::size_t m_line;
};

// Throws RecordingError for the first invalid line.
Recording parseRecording(std::string_view text);
// Parses a file. Throws std::runtime_error with the path if it cannot be read or is invalid.
Recording readRecording(const std::string &path);

void writeHeader(std::ostream &out, const RecordingHeader &header);
void writeEvent(std::ostream &out, const RecordedEvent &event);

} // namespace recording
