#include "protocol/protocol.h"

#include <algorithm>

namespace protocol {

std::size_t preparePacket(unsigned char type, Bytes payload, unsigned char *out)
{
    const std::size_t length = payload.size() + kFrameSize;
    out[0] = kSync;
    out[1] = type;
    writeField(out + 2, static_cast<std::uint16_t>(length));
    std::copy(payload.begin(), payload.end(), out + kHeaderSize);
    writeField(out + kHeaderSize + payload.size(), checksum(payload));
    return length;
}

bool isIntact(const unsigned char *packet, int length)
{
    if (length < static_cast<int>(kHeaderSize))
        return false;
    const std::size_t stated = readField<std::uint16_t>(packet + 2);
    if (stated > static_cast<std::size_t>(length) || stated < kChecksumSize)
        return false;
    const std::size_t payloadSize = stated > kFrameSize ? stated - kFrameSize : 0;
    return checksum({packet + kHeaderSize, payloadSize}) ==
           readField<std::uint16_t>(packet + stated - kChecksumSize);
}

} // namespace protocol
