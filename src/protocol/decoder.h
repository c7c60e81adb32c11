#pragma once

#include <functional>

#include "protocol/protocol.h"
#include "protocol/sample_store.h"

// Called for each block of a data packet, in order, after its values are stored and its flag is
// set. A packet may hold several blocks of one code.
using BlockHandler = std::function<void(protocol::BlockCode)>;

// A block code near the end of a packet makes the decoder read past the end. The memory passed to
// decodePacket() must therefore be readable this far past `length`.
inline constexpr std::size_t kDecoderPadding = 64;

// Decodes one packet of `length` bytes into the store. Returns false and leaves the store unchanged
// if the length field or the checksum is wrong. Skips unknown codes byte by byte. No allocation, no
// lock.
bool decodePacket(const unsigned char *packet, int length, SampleStore &store,
                  const BlockHandler &blockDecoded);
