#include "cli/recorded_line.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

#include "cli/exit_status.h"
#include "cli/runtime.h"

namespace cli {

namespace {

using Kind = recording::RecordedEvent::Kind;

std::string readFile(const std::string &path)
{
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad() || errno == EISDIR)
        throw Failure(ExitStatus::Failed,
                      "cannot read " + path + ": " +
                          std::generic_category().message(errno == 0 ? EIO : errno));
    return text;
}

[[noreturn]] void refuse(const std::string &path, const recording::RecordingError &error)
{
    throw Failure(ExitStatus::Failed, path + ", " + error.what());
}

} // namespace

recording::Recording readRecordedLine(const Runtime &runtime, const std::string &path)
{
    const std::string text = readFile(path);
    try {
        return recording::parseRecording(text);
    } catch (const recording::RecordingError &error) {
        const std::size_t end = text.rfind('\n');
        if (text.ends_with('\n') || end == std::string::npos)
            refuse(path, error);
        try {
            recording::Recording whole = recording::parseRecording(text.substr(0, end + 1));
            runtime.note(path + " ends in the middle of line " + std::to_string(error.line()) +
                         "; everything before it is used");
            return whole;
        } catch (const recording::RecordingError &) {
            refuse(path, error);
        }
    }
}

void feedRecordedLine(const recording::Recording &recording, session::Receiver &receiver,
                      const std::function<bool()> &isInterrupted)
{
    receiver.setSerialNumber(recording.header.serialNumber);
    receiver.restart(recording.header.baud);
    for (const recording::RecordedEvent &event : recording.events) {
        if (isInterrupted())
            return;
        if (event.kind == Kind::Delivered) {
            const session::ReceiveTime at{std::chrono::sys_time<std::chrono::nanoseconds>(event.at),
                                          std::chrono::steady_clock::time_point(event.at)};
            receiver.feed(event.bytes, at);
        } else if (event.kind == Kind::Baud) {
            receiver.restart(event.baud);
        }
    }
}

} // namespace cli
