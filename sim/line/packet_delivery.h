#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "sim/line/line_observer.h"
#include "sim/line/line_options.h"
#include "sim/line/noise.h"
#include "sim/line/pty.h"

namespace sim {

// Counts packets of the device by their outcome on the line.
struct LineCounters
{
    std::uint64_t sent = 0;      // intact in the host's input queue
    std::uint64_t samples = 0;   // data packets among `sent`
    std::uint64_t unread = 0;    // `samples` that the host had not read completely when it closed
    std::uint64_t skipped = 0;   // data packets dropped because the transmit buffer was full
    std::uint64_t corrupted = 0; // the host used another baud rate
    std::uint64_t noHost = 0;    // no host had the port open, at least not from the first byte on
    std::uint64_t overrun = 0;   // the host did not read, and the queue was full
    std::uint64_t bytesSent = 0; // bytes of the `sent` packets
    std::uint64_t hostBytesLost = 0; // bytes that the host sent at another baud rate
    std::uint64_t overrunBytes = 0;  // that did not fit LineOptions::receiveQueue
    std::uint64_t framingErrors = 0; // bytes that the host received at another baud rate
    std::uint64_t savesRefused = 0;  // by the device, because the host holds other outputs
};

// Brings the transmissions of a device through a USB adapter into the input queue of the host, and
// counts what becomes of them. Not thread-safe; the times passed in must not decrease.
class PacketDelivery
{
public:
    void setOptions(const LineOptions &options);

    // The observer is borrowed; null for none.
    void accept(Transmission transmission, Pty &pty, LineObserver *observer);
    void deliverDue(Time now, Pty &pty, LineObserver *observer);
    Time nextDone() const { return m_adapter.nextDone(); }
    // The cable is pulled out: what has not arrived is lost.
    void unplug();
    // Counts the samples that ended sessions have left unread.
    void countUnread(Pty &pty);

    LineCounters &counters() { return m_counters; }
    const LineCounters &counters() const { return m_counters; }

private:
    struct Arrival
    {
        std::size_t bytes;
        unsigned samples;
    };

    bool enterSession(Pty &pty);
    void discard(const UsbPacket &packet);
    std::size_t bytesMissedAtOpening(const Transmission &transmission, const Pty &pty);
    std::size_t roomFor(const UsbPacket &packet, const Pty &pty);
    void deliver(const UsbPacket &packet, Pty &pty, LineObserver *observer);
    void countPieces(const UsbPacket &packet, Pty::Delivery delivery, std::size_t fitting);
    void count(Pty::Delivery delivery, const Transmission &transmission, std::size_t size);

    LineOptions m_options;
    Noise m_noise{1};
    UsbAdapter m_adapter;
    LineCounters m_counters;
    std::deque<Arrival> m_arrivals; // the most recent ones; more than the queue can hold
    std::optional<std::uint64_t> m_session;
    bool m_missesBeginning = false; // no sample has arrived in this session
    std::uint64_t m_openings = 0;
    // Of the transmission that is partly delivered.
    Pty::Delivery m_outcome = Pty::Delivery::Arrived;
};

} // namespace sim
