#pragma once

namespace faults {

// Ends the process with a message if it lives longer than ten minutes: a test cannot return from a
// deadlock. The tests need seconds on a busy machine.
class Deadline
{
public:
    Deadline();
    ~Deadline();
    Deadline(const Deadline &) = delete;
    Deadline &operator=(const Deadline &) = delete;
};

} // namespace faults
