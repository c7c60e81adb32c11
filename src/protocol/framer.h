#pragma once

#include <algorithm>
#include <array>

#include "protocol/decoder.h"
#include "protocol/protocol.h"

// Splits a byte stream into packets. It searches for a sync byte only between packets: a sync byte
// inside a packet is data. Not thread-safe; uses no port and no lock.
class Framer
{
public:
    // Takes the next byte. Returns true if it completes a packet; packet() and length() then
    // describe that packet until the next call. The decoder verifies the checksum.
    bool feed(unsigned char byte)
    {
        m_buffer[m_count++] = byte;
        if (m_count < m_next)
            return false;
        if (m_count > protocol::kHeaderSize)
            return endBody();
        readHeader();
        return false;
    }

    // Discards a partly received packet, for example after a failed read.
    void reset()
    {
        m_count = 0;
        m_next = kSyncEnd;
    }

    // The 5 states in order, 0 to 4: sync, type, length low, length high, body.
    int state() const { return static_cast<int>(std::min(m_count, protocol::kHeaderSize)); }

    // Readable for kDecoderPadding bytes past length().
    const unsigned char *packet() const { return m_buffer.data(); }
    int length() const { return static_cast<int>(m_expected); }

private:
    static constexpr std::size_t kCapacity = protocol::kMaxPacketSize;
    static constexpr std::size_t kSyncEnd = 1;
    static constexpr std::size_t kTypeEnd = 2;

    void readHeader()
    {
        switch (m_count) {
        case kSyncEnd:
            proceedIf(m_buffer[0] == protocol::kSync, kTypeEnd);
            break;
        case kTypeEnd:
            proceedIf(m_buffer[1] == protocol::kDataType || m_buffer[1] == protocol::kReplyType,
                      protocol::kHeaderSize);
            break;
        default:
            m_expected = protocol::readField<std::uint16_t>(&m_buffer[kTypeEnd]);
            m_next = bodyEnd();
            break;
        }
    }

    void proceedIf(bool valid, std::size_t next)
    {
        if (valid)
            m_next = next;
        else
            reset();
    }

    // A length of 0 or above kCapacity ends the packet with the byte after the header. A length of
    // 1 to 4 lies in the header, so only a full buffer ends the packet.
    std::size_t bodyEnd() const
    {
        if (m_expected == 0 || m_expected > kCapacity)
            return protocol::kHeaderSize + 1;
        return m_expected > protocol::kHeaderSize ? m_expected : kCapacity;
    }

    bool endBody()
    {
        const bool complete = m_count == m_expected;
        reset();
        return complete;
    }

    std::size_t m_count = 0;       // bytes of the packet received so far
    std::size_t m_next = kSyncEnd; // count at which the bytes must be examined
    std::size_t m_expected = 0;    // length field
    std::array<unsigned char, protocol::kMaxPacketSize + kDecoderPadding> m_buffer{};
};
