#pragma once

#include <atomic>
#include <cstdint>

// Counts of a driver over all its connections.
struct LinkStatistics
{
    std::uint64_t sessions = 0;       // times a port was opened
    std::uint64_t discardedBytes = 0; // received before the port had its baud rate
    std::uint64_t packets = 0;        // intact
    std::uint64_t damaged = 0;        // rejected: wrong length or checksum
    std::uint64_t samples = 0;        // quaternions decoded
};

// A count that one thread at a time increases and any thread reads.
class LinkCount
{
public:
    void add(std::uint64_t more = 1)
    {
        m_value.store(m_value.load(std::memory_order_relaxed) + more, std::memory_order_relaxed);
    }
    std::uint64_t value() const { return m_value.load(std::memory_order_relaxed); }

private:
    std::atomic<std::uint64_t> m_value{0};
};
