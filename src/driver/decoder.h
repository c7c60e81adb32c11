#pragma once

#include "driver/sample_store.h"

// Told about the blocks that others want to hear of as they arrive, after the value is stored and
// its flag set. Called on the decoding thread, inside the driver's lock.
class SampleListener
{
public:
    virtual void quaternionDecoded(const std::array<float, 4> &xyzw) = 0;
    virtual void magneticFieldDecoded(const std::array<float, 3> &xyz) = 0;
    virtual void magneticFieldRawDecoded(const std::array<float, 3> &xyz) = 0;

protected:
    ~SampleListener() = default;
};

// A block code near the end of a packet takes its data from whatever follows the packet, so the
// memory handed to decodePacket() must be readable this far past `length`.
inline constexpr std::size_t kDecoderSlack = 64;

// Decodes one packet of `length` bytes into the store. False, with nothing touched, if its length
// field or checksum is wrong. Unknown codes are skipped byte by byte. No allocation, no lock.
bool decodePacket(const unsigned char *packet, int length, SampleStore &store,
                  SampleListener &listener);
