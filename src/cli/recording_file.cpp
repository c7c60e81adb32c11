#include "cli/recording_file.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "cli/exit_status.h"

namespace cli {

using Kind = recording::RecordedEvent::Kind;

namespace {

[[noreturn]] void fail(const std::string &path, int error)
{
    throw Failure(ExitStatus::Failed,
                  "cannot write " + path + ": " + std::generic_category().message(error));
}

} // namespace

RecordingFile::RecordingFile(const std::string &path, const recording::RecordingHeader &header)
    : m_path(path)
    , m_fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666))
{
    if (m_fd < 0)
        fail(m_path, errno);
    std::ostringstream text;
    writeHeader(text, header);
    try {
        writeText(text.str());
    } catch (const Failure &) {
        ::close(m_fd);
        throw;
    }
}

RecordingFile::~RecordingFile()
{
    ::close(m_fd);
}

void RecordingFile::received(session::Device::Bytes bytes, const session::ReceiveTime &at)
{
    write({.kind = Kind::Delivered, .bytes = {bytes.begin(), bytes.end()}}, at);
}

void RecordingFile::written(session::Device::Bytes bytes, const session::ReceiveTime &at)
{
    write({.kind = Kind::FromHost, .bytes = {bytes.begin(), bytes.end()}}, at);
}

void RecordingFile::unplugged(const session::ReceiveTime &at)
{
    write({.kind = Kind::Unplug}, at);
}

void RecordingFile::write(recording::RecordedEvent event, const session::ReceiveTime &at)
{
    if (!m_beginning)
        m_beginning = at.monotonic;
    const auto since = std::chrono::floor<std::chrono::microseconds>(at.monotonic - *m_beginning);
    m_last = std::max(m_last, since);
    event.at = m_last;
    std::ostringstream text;
    writeEvent(text, event);
    writeText(text.str());
}

void RecordingFile::writeText(const std::string &text)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = ::write(m_fd, text.data() + done, text.size() - done);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            const int error = errno;
            // A device file cannot be cut, which does no harm.
            if (::ftruncate(m_fd, m_size) != 0)
                errno = 0;
            fail(m_path, error);
        }
    }
    m_size += static_cast<std::int64_t>(text.size());
}

} // namespace cli
