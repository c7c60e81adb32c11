#pragma once

namespace faults {

// A deadlock cannot be returned from: if this lives for longer than ten minutes, where a busy
// machine needs seconds, the process ends, saying that the driver hangs.
class Deadline
{
public:
    Deadline();
    ~Deadline();
    Deadline(const Deadline &) = delete;
    Deadline &operator=(const Deadline &) = delete;
};

} // namespace faults
