#pragma once

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
        if (m_state == Body)
            return feedBody(byte);
        feedHeader(byte);
        return false;
    }

    // Discards a partly received packet, for example after a failed read.
    void reset() { m_state = Hunting; }

    // The 5 states in order, 0 to 4: sync, type, length low, length high, body.
    int state() const { return m_state; }

    // Readable for kDecoderPadding bytes past length().
    const unsigned char *packet() const { return m_buffer.data(); }
    int length() const { return static_cast<int>(m_expected); }

private:
    enum State { Hunting, Type, LengthLow, LengthHigh, Body };
    static constexpr std::size_t kCapacity = protocol::kMaxPacketSize;

    void store(unsigned char byte) { m_buffer[m_index++] = byte; }

    void feedHeader(unsigned char byte)
    {
        switch (m_state) {
        case Hunting:
            if (byte != protocol::kSync)
                return;
            m_index = 0;
            m_state = Type;
            break;
        case Type:
            m_state =
                byte == protocol::kDataType || byte == protocol::kReplyType ? LengthLow : Hunting;
            break;
        case LengthLow:
            m_expected = byte;
            m_state = LengthHigh;
            break;
        default:
            m_expected |= static_cast<std::size_t>(byte) << 8;
            m_end = bodyEnd();
            m_state = Body;
            break;
        }
        store(byte);
    }

    // A length of 0 or above kCapacity ends the packet with the byte after the header. A length of
    // 1 to 4 lies in the header, so only a full buffer ends the packet.
    std::size_t bodyEnd() const
    {
        if (m_expected == 0 || m_expected > kCapacity)
            return protocol::kHeaderSize + 1;
        return m_expected > protocol::kHeaderSize ? m_expected : kCapacity;
    }

    bool feedBody(unsigned char byte)
    {
        store(byte);
        if (m_index < m_end)
            return false;
        reset();
        return m_index == m_expected;
    }

    State m_state = Hunting;
    std::size_t m_index = 0;    // of the next byte in the buffer
    std::size_t m_expected = 0; // length field
    std::size_t m_end = 0;      // index after the last byte of the body
    std::array<unsigned char, protocol::kMaxPacketSize + kDecoderPadding> m_buffer{};
};
