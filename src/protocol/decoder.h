#pragma once

#include "protocol/protocol.h"
#include "protocol/sample_store.h"

// A block code near the end of a packet makes the decoder read past the end. The memory passed to
// decodePacket() must therefore be readable this far past `length`.
inline constexpr std::size_t kDecoderPadding = 64;

namespace decoder {

// Stores a data block, sets its flag and returns its size, including its code. 0: unknown code,
// nothing stored.
int storeDataBlock(const unsigned char *block, SampleStore &store);
// Stores all blocks of a reply. `end`: offset of the checksum.
void storeReply(const unsigned char *packet, int end, SampleStore &store);

} // namespace decoder

// Decodes one packet of `length` bytes into the store. Returns false and leaves the store unchanged
// if the length field or the checksum is wrong. Skips unknown codes byte by byte. No allocation, no
// lock.
//
// Calls blockDecoded(protocol::BlockCode) for each block of a data packet, in order, after its
// values are stored and its flag is set. A packet may hold several blocks of one code.
template <typename BlockHandler>
bool decodePacket(const unsigned char *packet, int length, SampleStore &store,
                  const BlockHandler &blockDecoded)
{
    if (!protocol::isIntact(packet, length))
        return false;

    const int end = length - static_cast<int>(protocol::kChecksumSize);
    if (packet[1] == protocol::kReplyType)
        decoder::storeReply(packet, end, store);
    if (packet[1] != protocol::kDataType)
        return true;
    for (int i = static_cast<int>(protocol::kHeaderSize); i < end;) {
        const int size = decoder::storeDataBlock(packet + i, store);
        if (size > 0)
            blockDecoded(static_cast<protocol::BlockCode>(packet[i]));
        i += size > 0 ? size : 1;
    }
    return true;
}
