#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "sim/line/simulated_time.h"

namespace sim {

// Bytes whose transmission is complete.
struct Transmission
{
    std::vector<unsigned char> bytes;
    std::uint32_t baud = 0; // at which they were sent
    unsigned packets = 0;   // number of packets that end in these bytes
    unsigned samples = 0;   // data packets among them
    Time done{0};           // end of the last stop bit
};

// How long the line needs for some bytes of ten bits each.
Time transmissionTime(std::size_t bytes, std::uint32_t baud);

// Models the transmit buffer and the timing of the device. The caller skips data
// packets for which hasRoom() is false, like a device whose outputs exceed the capacity of its
// line. send() accepts replies without a limit. Pure: time is passed in.
class Transmitter
{
public:
    // In bytes, about two packets of full output: one in transmission and one queued. A larger
    // buffer only delays replies to commands.
    static constexpr std::size_t kBuffer = 288;

    explicit Transmitter(std::uint32_t baud)
        : m_baud(baud)
    {
    }

    void setBaud(std::uint32_t baud) { m_baud = baud; }
    std::uint32_t baud() const { return m_baud; }

    bool hasRoom(std::size_t bytes, Time at) const;
    void send(std::vector<unsigned char> bytes, unsigned packets, Time at, unsigned samples = 0);

    // The next bytes whose transmission ends by `now`, in order.
    std::optional<Transmission> take(Time now);
    Time nextDone() const { return m_queue.empty() ? kNever : m_queue.front().done; }
    // The time at which the transmission of everything queued so far ends, `at` or later.
    Time idleAt(Time at) const { return m_idle > at ? m_idle : at; }
    void clear(Time now);

private:
    std::uint32_t m_baud;
    Time m_idle{0};
    std::deque<Transmission> m_queue;
};

} // namespace sim
