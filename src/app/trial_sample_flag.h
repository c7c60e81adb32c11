#pragma once

#include <atomic>
#include <cstdint>

// Flag for "a sample arrived during this trial", shared by the thread that takes samples and the
// thread that searches for a baud rate.
//
// clear() begins a new trial. The sampling thread reads current() before it requests a sample, and
// passes that value to set() with the sample. A sample requested in an earlier trial therefore
// never sets the flag of a later one, however late it is reported. Lock-free; any thread.
class TrialSampleFlag
{
public:
    using Trial = std::uint32_t;

    void clear() { m_current.fetch_add(1); }
    bool isSet() const { return m_seen == m_current; }

    Trial current() const { return m_current; }
    void set(Trial trial) { m_seen = trial; }

private:
    std::atomic<Trial> m_current{1};
    std::atomic<Trial> m_seen{0};
};
