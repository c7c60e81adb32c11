#include "sim/line/packet_delivery.h"

#include <algorithm>

namespace sim {

namespace {

using Delivery = Pty::Delivery;

// Number of arrivals, the shortest of which are shorter than a sample. The kernel buffers fewer for
// a host that does not read.
constexpr std::size_t kMostArrivals = 4096;

} // namespace

void PacketDelivery::setOptions(const LineOptions &options)
{
    m_options = options;
    m_noise = Noise(options.seed);
    m_adapter = UsbAdapter(options.adapter);
}

// True if a host has opened the port since the last call. An adapter starts empty then.
bool PacketDelivery::enterSession(Pty &pty)
{
    pty.watch();
    if (!pty.isOpenedByHost() || m_session == pty.endedSessions())
        return false;
    m_session = pty.endedSessions();
    ++m_openings;
    m_missesBeginning = m_options.startsMidPacket;
    for (const UsbPacket &packet : m_adapter.clear())
        discard(packet);
    return true;
}

void PacketDelivery::discard(const UsbPacket &packet)
{
    for (const UsbPacket::Piece &piece : packet.pieces) {
        if (piece.ends)
            count(Delivery::NoHost, piece.whole, piece.size);
    }
}

// While the host sets its baud rate after opening, it receives only corrupted bytes.
std::size_t PacketDelivery::bytesMissedAtOpening(const Transmission &transmission, const Pty &pty)
{
    const std::size_t size = transmission.bytes.size();
    if (!m_missesBeginning || !pty.isOpenedByHost() || transmission.samples == 0 || size < 2 ||
        pty.shownBaud() != transmission.baud)
        return 0;
    m_missesBeginning = false;
    return 1 + static_cast<std::size_t>(m_noise.bits(0, m_openings) % (size - 1));
}

void PacketDelivery::accept(Transmission transmission, Pty &pty, LineObserver *observer)
{
    if (transmission.bytes.empty()) {
        count(Delivery::NoHost, transmission, 0);
        return;
    }
    enterSession(pty);
    const std::size_t missed = bytesMissedAtOpening(transmission, pty);
    if (missed > 0 && observer) {
        Transmission beginning = transmission;
        beginning.bytes.resize(missed);
        observer->sent(beginning, false);
    }
    m_adapter.push(std::move(transmission), missed);
}

void PacketDelivery::deliverDue(Time now, Pty &pty, LineObserver *observer)
{
    while (const auto packet = m_adapter.take(now)) {
        if (enterSession(pty))
            discard(*packet);
        else
            deliver(*packet, pty, observer);
    }
}

std::size_t PacketDelivery::roomFor(const UsbPacket &packet, const Pty &pty)
{
    const std::size_t size = packet.bytes.size();
    if (m_options.receiveQueue == 0 || !pty.isOpenedByHost())
        return size;
    const std::size_t unread = pty.unreadByHost();
    return std::min(size, m_options.receiveQueue - std::min(m_options.receiveQueue, unread));
}

void PacketDelivery::deliver(const UsbPacket &packet, Pty &pty, LineObserver *observer)
{
    const std::size_t size = packet.bytes.size();
    const std::size_t fitting = roomFor(packet, pty);
    const protocol::Bytes bytes(packet.bytes);
    const Delivery delivery =
        fitting > 0 ? pty.send(bytes.first(fitting), packet.baud) : Delivery::Overrun;
    m_counters.overrunBytes += size - fitting;
    if (delivery == Delivery::Corrupted)
        m_counters.framingErrors += fitting;
    countUnread(pty);
    countPieces(packet, delivery, fitting);
    if (!observer)
        return;
    const auto report = [&](protocol::Bytes part, bool delivered) {
        if (!part.empty())
            observer->sent(
                {.bytes = {part.begin(), part.end()}, .baud = packet.baud, .done = packet.done},
                delivered);
    };
    report(bytes.first(fitting), delivery == Delivery::Arrived);
    report(bytes.subspan(fitting), false);
}

void PacketDelivery::countPieces(const UsbPacket &packet, Delivery delivery, std::size_t fitting)
{
    std::size_t end = 0;
    for (const UsbPacket::Piece &piece : packet.pieces) {
        end += piece.bytes;
        if (piece.begins)
            m_outcome = piece.lost > 0 ? Delivery::NoHost : Delivery::Arrived;
        // The first failure is the outcome of the whole transmission.
        if (m_outcome == Delivery::Arrived)
            m_outcome =
                end <= fitting || delivery != Delivery::Arrived ? delivery : Delivery::Overrun;
        if (piece.ends)
            count(m_outcome, piece.whole, piece.size);
        if (delivery != Delivery::Arrived)
            continue;
        const bool complete = piece.ends && m_outcome == Delivery::Arrived;
        m_arrivals.push_back({piece.bytes, complete ? piece.whole.samples : 0});
        if (m_arrivals.size() > kMostArrivals)
            m_arrivals.pop_front();
    }
}

void PacketDelivery::count(Delivery delivery, const Transmission &transmission, std::size_t size)
{
    switch (delivery) {
    case Delivery::Arrived:
        m_counters.sent += transmission.packets;
        m_counters.samples += transmission.samples;
        m_counters.bytesSent += size;
        return;
    case Delivery::NoHost:
        m_counters.noHost += transmission.packets;
        return;
    case Delivery::Corrupted:
        m_counters.corrupted += transmission.packets;
        return;
    case Delivery::Overrun:
        m_counters.overrun += transmission.packets;
        return;
    }
}

// The unread bytes are the last ones that have arrived.
void PacketDelivery::countUnread(Pty &pty)
{
    for (std::size_t left = pty.takeUnread(); left > 0 && !m_arrivals.empty();) {
        m_counters.unread += m_arrivals.back().samples;
        left -= std::min(left, m_arrivals.back().bytes);
        m_arrivals.pop_back();
    }
}

void PacketDelivery::unplug()
{
    m_adapter.clear();
    m_session.reset();
}

} // namespace sim
