#pragma once

#include "protocol/protocol.h"
#include "protocol/sample_store.h"

// A block code near the end of a packet makes the decoder read past the end. The memory passed to
// decodePacket() must therefore be readable this far past `length`.
inline constexpr std::size_t kDecoderPadding = 64;

// Data blocks are decoded inline: eight calls a packet would cost 0.1 ns a byte.
namespace decoder {

// Copies the floats after the code of a block and returns the size of the block.
template <std::size_t N>
int copyFloats(std::array<float, N> &to, const unsigned char *block)
{
    std::memcpy(to.data(), block + 1, sizeof to);
    return 1 + static_cast<int>(sizeof to);
}

// Stores the values of a data block and returns its size, including its code. 0: unknown code,
// nothing stored.
inline int copyDataBlock(const unsigned char *block, SampleStore &store)
{
    using enum protocol::BlockCode;
    switch (*block) {
    case QUATERNION:
        return copyFloats(store.quaternion, block);
    case COVARIANCES:
        return copyFloats(store.covariances, block);
    case ACCELERATIONS:
        return copyFloats(store.accelerations, block);
    case RATES:
        return copyFloats(store.rates, block);
    case EULER:
        return copyFloats(store.euler, block);
    case MAGNETIC_FIELD:
        return copyFloats(store.magneticField, block);
    case MAGNETIC_FIELD_RAW:
        return copyFloats(store.magneticFieldRaw, block);
    case ALTITUDE:
        store.altitude = protocol::readField<float>(block + 1);
        return 1 + sizeof(float);
    case RESERVED_22:
        return 1 + 36;
    default:
        return 0;
    }
}

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
        const int size = decoder::copyDataBlock(packet + i, store);
        if (size > 0) {
            store.fresh.set(packet[i]);
            blockDecoded(static_cast<protocol::BlockCode>(packet[i]));
        }
        i += size > 0 ? size : 1;
    }
    return true;
}
