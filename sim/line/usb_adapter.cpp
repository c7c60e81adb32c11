#include "sim/line/usb_adapter.h"

#include <iterator>
#include <utility>

namespace sim {

void UsbAdapter::push(Transmission transmission, std::size_t lost)
{
    const std::vector<unsigned char> bytes = std::exchange(transmission.bytes, {});
    const Time byteTime = transmissionTime(1, transmission.baud);
    for (std::size_t i = lost; i < bytes.size(); ++i) {
        const auto later = static_cast<Time::rep>(bytes.size() - 1 - i);
        add(bytes[i], transmission.baud, transmission.done - later * byteTime);
        std::vector<UsbPacket::Piece> &pieces = m_filling.pieces;
        // The bytes of a transmission without an end in this packet are one piece.
        if (pieces.empty() || pieces.back().ends)
            pieces.emplace_back();
        if (i == lost) {
            pieces.back().begins = true;
            pieces.back().lost = lost;
        }
        ++pieces.back().bytes;
        if (i + 1 == bytes.size()) {
            pieces.back().ends = true;
            pieces.back().whole = transmission;
            pieces.back().size = bytes.size();
        }
        if (m_filling.bytes.size() == m_model.payload)
            send(transmission.done - later * byteTime);
    }
    if (m_model.payload == 0)
        send(transmission.done);
}

void UsbAdapter::add(unsigned char byte, std::uint32_t baud, Time at)
{
    if (m_model.payload > 0 && !m_filling.bytes.empty() && m_expiry <= at)
        send(m_expiry);
    if (!m_filling.bytes.empty() && m_filling.baud != baud)
        send(at);
    if (m_filling.bytes.empty()) {
        m_filling.baud = baud;
        m_expiry = nextExpiry(at);
    }
    m_filling.bytes.push_back(byte);
}

Time UsbAdapter::nextExpiry(Time at) const
{
    if (m_model.latency <= Time(0))
        return at;
    if (at <= m_lastSent)
        return m_lastSent + m_model.latency;
    const Time::rep periods =
        (at - m_lastSent + m_model.latency - Time(1)).count() / m_model.latency.count();
    return m_lastSent + periods * m_model.latency;
}

void UsbAdapter::send(Time at)
{
    if (m_filling.bytes.empty())
        return;
    m_filling.done = at;
    m_lastSent = at;
    m_sent.push_back(std::exchange(m_filling, {}));
}

std::optional<UsbPacket> UsbAdapter::take(Time now)
{
    if (nextDone() > now)
        return std::nullopt;
    if (m_sent.empty())
        send(m_expiry);
    UsbPacket front = std::move(m_sent.front());
    m_sent.pop_front();
    return front;
}

Time UsbAdapter::nextDone() const
{
    if (!m_sent.empty())
        return m_sent.front().done;
    return m_filling.bytes.empty() ? kNever : m_expiry;
}

std::vector<UsbPacket> UsbAdapter::clear()
{
    std::vector<UsbPacket> held(std::make_move_iterator(m_sent.begin()),
                                std::make_move_iterator(m_sent.end()));
    m_sent.clear();
    if (!m_filling.bytes.empty())
        held.push_back(std::exchange(m_filling, {}));
    return held;
}

} // namespace sim
