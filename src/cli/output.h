#pragma once

#include <string>
#include <string_view>

namespace cli {

// Writes data to a descriptor. Into a terminal, a pipe or a socket it passes on each record at
// once, into a file in blocks. write() and flush() throw a Failure if the descriptor takes no more
// bytes; if the reader of a pipe is gone, they throw BrokenPipe.
class Output
{
public:
    struct BrokenPipe
    {
    };

    // `name` is for messages. The descriptor is borrowed.
    explicit Output(int fd, std::string name = "standard output");
    // Drops what was not flushed.
    ~Output() = default;
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    // One record, or several.
    void write(std::string_view text);
    void flush();

private:
    int m_fd;
    std::string m_name;
    bool m_inBlocks;
    std::string m_pending;
};

} // namespace cli
