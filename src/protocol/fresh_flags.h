#pragma once

#include <atomic>

#include "protocol/protocol.h"

// One flag per block code: "arrived since it was last taken". All flags start false.
//
// Flags change only under the driver's lock, so a change needs no locked instruction. Any thread
// may test them without the lock; commands that wait for a reply and the worker thread of the data
// panel do. A thread that finds a flag set also reads the value that was stored before it.
class FreshFlags
{
public:
    void set(int code) { change(bits() | bit(code)); }
    void clear(int code) { change(bits() & ~bit(code)); }
    bool test(int code) const { return (m_bits.load(std::memory_order_acquire) & bit(code)) != 0; }

    // Clears the flag and returns whether it was set.
    bool testAndClear(int code)
    {
        const bool wasSet = test(code);
        clear(code);
        return wasSet;
    }

private:
    // A code beyond the table has no bit, so it is never set.
    static std::uint32_t bit(int code)
    {
        return code >= 0 && code < protocol::kBlockCodeCount ? 1U << code : 0U;
    }

    std::uint32_t bits() const { return m_bits.load(std::memory_order_relaxed); }
    void change(std::uint32_t bits) { m_bits.store(bits, std::memory_order_release); }

    std::atomic<std::uint32_t> m_bits{0};
};
