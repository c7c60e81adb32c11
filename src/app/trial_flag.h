#pragma once

#include <atomic>
#include <cstdint>

// "A sample arrived during this trial": a flag between the thread that takes samples and the one
// that tries out a baud rate.
//
// clear() begins a new trial. The sampling thread notes current() before it asks for a sample and
// hands it to set() with the sample it got, so a sample asked for in an earlier trial, however late
// its report, never sets the flag of a later one. Lock-free; any thread.
class TrialFlag
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
