#pragma once

#include "sim/Time.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace sim {

// Bytes that have passed the line.
struct Transmission
{
    std::vector<unsigned char> bytes;
    std::uint32_t baud = 0; // the speed they were sent at
    unsigned packets = 0;   // that end in these bytes
    unsigned samples = 0;   // data packets among them
    Time done{0};           // when the last stop bit was out
};

// The unit's end of the line: ten bits a byte, one byte after the other. Data packets that find
// more than kBuffer bytes waiting are skipped, as a unit does whose outputs exceed its line;
// replies always find room. Pure: time is passed in.
class Transmitter
{
public:
    // Two packets of full output: one on the line, one behind it. More would only make the answer
    // to a command late.
    static constexpr std::size_t kBuffer = 288;

    explicit Transmitter(std::uint32_t baud)
        : m_baud(baud)
    {
    }

    void setBaud(std::uint32_t baud) { m_baud = baud; }
    std::uint32_t baud() const { return m_baud; }

    bool hasRoom(std::size_t bytes, Time at) const;
    void send(std::vector<unsigned char> bytes, unsigned packets, Time at, unsigned samples = 0);

    // The next bytes that are out by `now`, in order.
    std::optional<Transmission> take(Time now);
    Time nextDone() const { return m_queue.empty() ? kNever : m_queue.front().done; }
    // When everything sent so far is out.
    Time idleAt(Time at) const { return m_idle > at ? m_idle : at; }
    void clear(Time now);

private:
    Time duration(std::size_t bytes) const;

    std::uint32_t m_baud;
    Time m_idle{0};
    std::deque<Transmission> m_queue;
};

} // namespace sim
