#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "sim/line/simulated_time.h"
#include "sim/line/transmitter.h"

namespace sim {

// How a USB serial adapter groups the bytes of the line.
struct AdapterModel
{
    // Data bytes of a USB packet; 0: passes every transmission on as it is.
    std::size_t payload = 0;
    // An incomplete USB packet leaves at the latest when this timer expires. It restarts with every
    // USB packet.
    Time latency{0};

    static AdapterModel none() { return {}; }
    // 64 bytes less two of modem status. The timer is 16 ms at first and can be set to 1 ms.
    static AdapterModel ftdi(Time latency) { return {62, latency}; }
    // The sizes of their bulk endpoints; an incomplete packet leaves with the next USB frame.
    static AdapterModel cp210x() { return {64, kUsbFrame}; }
    static AdapterModel ch340() { return {32, kUsbFrame}; }
    static AdapterModel cdcAcm() { return {64, kUsbFrame}; }

    static constexpr Time kUsbFrame = std::chrono::milliseconds(1);
};

// Bytes that reach the host together.
struct UsbPacket
{
    // Consecutive bytes of one transmission.
    struct Piece
    {
        std::size_t bytes = 0;
        bool begins = false;  // is the first one of the transmission
        std::size_t lost = 0; // if it begins: bytes before it that did not reach the adapter
        bool ends = false;    // holds its last byte
        Transmission whole;   // if it ends: the transmission, without its bytes
        std::size_t size = 0; // if it ends: the number of bytes of the transmission
    };

    std::vector<unsigned char> bytes;
    std::uint32_t baud = 0; // of the line
    Time done{0};           // arrival at the host
    std::vector<Piece> pieces;
};

// Turns the transmissions of a device into the USB packets of an adapter. Bytes of different baud
// rates are never in one packet. Pure: time is passed in and must not decrease.
class UsbAdapter
{
public:
    explicit UsbAdapter(AdapterModel model = {})
        : m_model(model)
    {
    }

    // A transmission, not empty, of which the first `lost` bytes do not reach the adapter.
    void push(Transmission transmission, std::size_t lost = 0);
    // The next packet that has arrived by `now`, in order.
    std::optional<UsbPacket> take(Time now);
    Time nextDone() const;
    // Empties the adapter; returns what it held.
    std::vector<UsbPacket> clear();

private:
    void add(unsigned char byte, std::uint32_t baud, Time at);
    void send(Time at);
    Time nextExpiry(Time at) const;

    AdapterModel m_model;
    std::deque<UsbPacket> m_sent;
    UsbPacket m_filling;
    Time m_expiry{0};   // of the timer, while m_filling has bytes
    Time m_lastSent{0}; // the timer restarted then
};

} // namespace sim
