#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "recording/recording.h"
#include "session/device.h"

namespace cli {

// Writes what passes a port into a recording. Each event is written at once, so after a crash the
// file holds everything up to then. If the file takes no more bytes, it is cut back to its last
// complete line, and write() throws a Failure.
class RecordingFile
{
public:
    // Creates the file or replaces it, and writes the header. Throws a Failure.
    RecordingFile(const std::string &path, const recording::RecordingHeader &header);
    ~RecordingFile(); // closes it
    RecordingFile(const RecordingFile &) = delete;
    RecordingFile &operator=(const RecordingFile &) = delete;

    // Times count from the first event. An event is never earlier than the one before.
    void received(session::Device::Bytes bytes, const session::ReceiveTime &at);
    void written(session::Device::Bytes bytes, const session::ReceiveTime &at);
    void unplugged(const session::ReceiveTime &at);

    // Complete lines in the file, in bytes.
    std::int64_t size() const { return m_size; }

private:
    void write(recording::RecordedEvent event, const session::ReceiveTime &at);
    void writeText(const std::string &text);

    std::string m_path;
    int m_fd;
    std::int64_t m_size = 0;
    std::optional<std::chrono::steady_clock::time_point> m_beginning;
    std::chrono::microseconds m_last{0};
};

} // namespace cli
