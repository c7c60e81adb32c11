#pragma once

#include "driver/protocol.h"

#include <atomic>

// One flag per block code: "arrived since it was last taken". All flags start false.
//
// The decoder sets flags under the driver's lock, but commands that wait for a reply look without
// it; one atomic word makes that sound and keeps a look at a flag as cheap as a load.
class FreshFlags
{
public:
    void set(int code) { m_bits.fetch_or(bit(code), std::memory_order_release); }
    void clear(int code) { m_bits.fetch_and(~bit(code), std::memory_order_acq_rel); }
    bool test(int code) const { return (m_bits.load(std::memory_order_acquire) & bit(code)) != 0; }

    // Clears the flag and says whether it was set.
    bool take(int code)
    {
        return (m_bits.fetch_and(~bit(code), std::memory_order_acq_rel) & bit(code)) != 0;
    }

private:
    // A code beyond the table has no bit, so it is never set.
    static std::uint32_t bit(int code)
    {
        return code >= 0 && code < protocol::kBlockCodeCount ? 1u << code : 0u;
    }

    std::atomic<std::uint32_t> m_bits{0};
};
