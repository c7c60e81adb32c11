#include "cli/output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/exit_status.h"

namespace cli {

namespace {

constexpr std::size_t kBlockSize = 1 << 16;
// A writable pipe takes so many bytes without blocking.
constexpr std::size_t kPipeChunk = PIPE_BUF;

bool isFile(int fd)
{
    struct stat status = {};
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

Output::Output(int fd, std::string name)
    : m_fd(fd)
    , m_name(std::move(name))
    , m_inBlocks(isFile(fd))
{
}

void Output::write(std::string_view text)
{
    m_pending += text;
    if (!m_inBlocks || m_pending.size() >= kBlockSize)
        flush();
}

void Output::flush()
{
    const std::size_t limit = m_inBlocks ? m_pending.size() : kPipeChunk;
    std::string_view rest = m_pending;
    while (!rest.empty()) {
        // A reader that does not read must not make the program deaf to signals: poll() ends at
        // one.
        pollfd request{m_fd, POLLOUT, 0};
        if (!m_inBlocks && ::poll(&request, 1, -1) < 0 && errno == EINTR) {
            m_pending.clear();
            throw Failure(ExitStatus::Interrupted, {});
        }
        const ssize_t written = ::write(m_fd, rest.data(), std::min(rest.size(), limit));
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            const int error = errno;
            m_pending.clear();
            if (error == EPIPE)
                throw BrokenPipe{};
            throw Failure(ExitStatus::Failed,
                          "cannot write " + m_name + ": " + std::generic_category().message(error));
        }
    }
    m_pending.clear();
}

} // namespace cli
