#pragma once

#include "driver/sample_store.h"

// Receives quaternions and both magnetic fields as they arrive, after the value is stored and its
// flag is set. Called on the decoding thread with the driver's lock held.
class SampleListener
{
public:
    virtual void quaternionDecoded(const std::array<float, 4> &xyzw) = 0;
    virtual void magneticFieldDecoded(const std::array<float, 3> &xyz) = 0;
    virtual void magneticFieldRawDecoded(const std::array<float, 3> &xyz) = 0;

protected:
    ~SampleListener() = default;
};

// A block code near the end of a packet makes the decoder read past the end. The memory passed to
// decodePacket() must therefore be readable this far past `length`.
inline constexpr std::size_t kDecoderSlack = 64;

// Decodes one packet of `length` bytes into the store. Returns false and leaves the store unchanged
// if the length field or the checksum is wrong. Skips unknown codes byte by byte. No allocation, no
// lock.
bool decodePacket(const unsigned char *packet, int length, SampleStore &store,
                  SampleListener &listener);
