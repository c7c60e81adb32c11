#include "sim/line/transmitter.h"

#include <utility>

namespace sim {

Time transmissionTime(std::size_t bytes, std::uint32_t baud)
{
    constexpr std::uint64_t kBitsPerByte = 10;
    return Time(static_cast<Time::rep>(bytes * kBitsPerByte * 1'000'000'000U / baud));
}

bool Transmitter::hasRoom(std::size_t bytes, Time at) const
{
    return idleAt(at) - at + transmissionTime(bytes, m_baud) <= transmissionTime(kBuffer, m_baud);
}

void Transmitter::send(std::vector<unsigned char> bytes, unsigned packets, Time at,
                       unsigned samples)
{
    m_idle = idleAt(at) + transmissionTime(bytes.size(), m_baud);
    m_queue.push_back({std::move(bytes), m_baud, packets, samples, m_idle});
}

std::optional<Transmission> Transmitter::take(Time now)
{
    if (nextDone() > now)
        return std::nullopt;
    Transmission front = std::move(m_queue.front());
    m_queue.pop_front();
    return front;
}

void Transmitter::clear(Time now)
{
    m_queue.clear();
    m_idle = now;
}

} // namespace sim
