#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>

#include "protocol/decoder.h"
#include "protocol/framer.h"
#include "protocol/sample_store.h"
#include "session/sample.h"

namespace session {

struct Statistics
{
    std::uint64_t bytes = 0;
    std::uint64_t samples = 0; // intact data packets with at least one known block
    std::uint64_t replies = 0; // intact reply packets
    std::uint64_t damaged = 0; // packets with a wrong checksum or length
};

// Finds the packets in the bytes of a line, live or recorded, and decodes them. One thread.
class Receiver
{
public:
    using Bytes = std::span<const unsigned char>;

    // Called in feed(), once for each data packet, each intact reply and each intact packet of
    // either kind. `packet` is valid during the call; `at` is when its first byte arrived.
    std::function<void(const Sample &sample)> onSample;
    std::function<void(Bytes packet)> onReply;
    std::function<void(Bytes packet, const ReceiveTime &at)> onPacket;

    // Bytes that a read returned at `readAt`; the last of them arrived then.
    void feed(Bytes bytes, const ReceiveTime &readAt);
    // Drops an incomplete packet. `baud`: the baud rate of the bytes that follow.
    void restart(unsigned baud);

    // The serial number for samples; replies replace it.
    void setSerialNumber(std::uint32_t number) { m_store.serialNumber = number; }

    // The latest values that the device has reported. A reply sets the fresh flag of its code; the
    // reader of the store clears it.
    SampleStore &store() { return m_store; }
    const Statistics &statistics() const { return m_statistics; }

private:
    void packetReceived();
    void sampleReceived(std::uint16_t blocks);

    Framer m_framer;
    SampleStore m_store;
    Statistics m_statistics;
    ReceiveTime m_packetStart{};
    ReceiveTime m_lastRead{};
    std::chrono::nanoseconds m_byteTime{0};
};

} // namespace session
