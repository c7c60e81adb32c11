#include "session/receiver.h"

#include <algorithm>

namespace session {

using namespace protocol;

namespace {

constexpr int kHunting = 0;

// The bit of the outputs mask that asks for a block of a data packet.
std::uint16_t outputBit(BlockCode code)
{
    switch (code) {
    case RATES:
        return OUT_RATES;
    case ACCELERATIONS:
        return OUT_ACCELERATIONS;
    case QUATERNION:
        return OUT_QUATERNION;
    case ALTITUDE:
        return OUT_ALTITUDE;
    case COVARIANCES:
        return OUT_COVARIANCES;
    case EULER:
        return OUT_EULER;
    case MAGNETIC_FIELD:
        return OUT_MAGNETIC_FIELD;
    case RESERVED_22:
        return OUT_SYNC;
    case MAGNETIC_FIELD_RAW:
        return OUT_MAGNETIC_FIELD_RAW;
    default:
        return 0;
    }
}

// `age` before `time`, but not before `earliest`.
ReceiveTime before(const ReceiveTime &time, std::chrono::nanoseconds age,
                   const ReceiveTime &earliest)
{
    const auto limited =
        std::clamp(age, std::chrono::nanoseconds(0),
                   std::max<std::chrono::nanoseconds>(time.monotonic - earliest.monotonic,
                                                      std::chrono::nanoseconds(0)));
    return {time.utc - limited, time.monotonic - limited};
}

} // namespace

// A byte that was followed by n others in the same read arrived at least n byte times earlier, but
// after the previous read, which took all that had arrived.
void Receiver::feed(Bytes bytes, const ReceiveTime &readAt)
{
    m_statistics.bytes += bytes.size();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (m_framer.state() == kHunting && bytes[i] == kSync) {
            const auto following = static_cast<std::int64_t>(bytes.size() - 1 - i);
            m_packetStart = before(readAt, m_byteTime * following, m_lastRead);
        }
        if (m_framer.feed(bytes[i]))
            packetReceived();
    }
    m_lastRead = readAt;
}

void Receiver::restart(unsigned baud)
{
    constexpr std::int64_t kBitsPerSecondNs = 10 * std::int64_t{1'000'000'000};
    m_framer.reset();
    m_byteTime = std::chrono::nanoseconds(baud == 0 ? 0 : kBitsPerSecondNs / baud);
    m_lastRead = {};
}

void Receiver::packetReceived()
{
    const unsigned char *packet = m_framer.packet();
    const int length = m_framer.length();
    const bool isReply = packet[1] == kReplyType;
    std::uint16_t blocks = 0;
    const auto addBlock = [&blocks](BlockCode code) {
        blocks = static_cast<std::uint16_t>(blocks | outputBit(code));
    };
    if (!decodePacket(packet, length, m_store, addBlock)) {
        ++m_statistics.damaged;
        return;
    }
    const Bytes bytes(packet, static_cast<std::size_t>(length));
    if (onPacket)
        onPacket(bytes, m_packetStart);
    if (!isReply) {
        sampleReceived(blocks);
        return;
    }
    ++m_statistics.replies;
    if (onReply)
        onReply(bytes);
}

void Receiver::sampleReceived(std::uint16_t blocks)
{
    if (blocks == 0)
        return;
    ++m_statistics.samples;
    if (!onSample)
        return;
    onSample({.time = m_packetStart,
              .serialNumber = m_store.serialNumber,
              .blocks = blocks,
              .quaternion = m_store.quaternion,
              .euler = m_store.euler,
              .rates = m_store.rates,
              .accelerations = m_store.accelerations,
              .magneticField = m_store.magneticField,
              .magneticFieldRaw = m_store.magneticFieldRaw,
              .covariances = m_store.covariances,
              .pressure = m_store.altitude});
}

} // namespace session
