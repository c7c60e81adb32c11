#pragma once

#include "driver/decoder.h"
#include "driver/protocol.h"

#include <array>

// Splits a byte stream into packets. It searches for a sync byte only between packets: a sync byte
// inside a packet is data. Not thread-safe; uses no port and no lock.
class Framer
{
public:
    // Takes the next byte. Returns true if it completes a packet; packet() and length() then
    // describe that packet until the next call. The decoder verifies the checksum.
    bool feed(unsigned char byte)
    {
        // Nearly every byte is a body byte and not the last one.
        if (m_index < m_last) [[likely]] {
            store(byte);
            return false;
        }
        return feedTurn(byte);
    }

    // Discards a partly received packet, for example after a failed read.
    void reset()
    {
        m_state = Hunting;
        m_last = 0;
    }

    // The 5 states in order, 0 to 4: sync, type, length low, length high, body.
    int state() const { return m_state; }

    // Readable for kDecoderSlack bytes past length().
    const unsigned char *packet() const { return m_buffer.data(); }
    int length() const { return static_cast<int>(m_expected); }

private:
    enum State { Hunting, Type, LengthLow, LengthHigh, Body };
    static constexpr std::size_t kCapacity = protocol::kMaxPacketSize;

    void store(unsigned char byte) { m_buffer[m_index++] = byte; }

    // A byte that may change the state.
    bool feedTurn(unsigned char byte)
    {
        switch (m_state) {
        case Hunting:
            if (byte == protocol::kSync) {
                m_index = 0;
                store(byte);
                m_state = Type;
            }
            return false;
        case Type:
            m_state =
                byte == protocol::kDataType || byte == protocol::kReplyType ? LengthLow : Hunting;
            store(byte);
            return false;
        case LengthLow:
            m_expected = byte;
            store(byte);
            m_state = LengthHigh;
            return false;
        case LengthHigh:
            m_expected |= static_cast<std::size_t>(byte) << 8;
            store(byte);
            m_last = lastIndex();
            m_state = Body;
            return false;
        case Body:
            return endBody(byte);
        }
        return false;
    }

    // Index of the byte that ends the body. If the length field is 0 or above kCapacity, the byte
    // after the header ends it. A length of 1 to 4 is below the index, which would never reach it,
    // so a full buffer ends it. In both cases the framer then searches for the next sync byte.
    std::size_t lastIndex() const
    {
        if (m_expected == 0 || m_expected > kCapacity)
            return m_index;
        return m_expected > m_index ? m_expected - 1 : kCapacity - 1;
    }

    bool endBody(unsigned char byte)
    {
        reset();
        if (m_expected == 0 || m_expected > kCapacity)
            return false;
        store(byte);
        return m_index == m_expected;
    }

    State m_state = Hunting;
    // std::size_t, the width of an address: each byte depends on the index left by the previous
    // byte, and widening a narrower index would take half of the time per byte.
    std::size_t m_index = 0;
    std::size_t m_last = 0; // index of the last body byte; 0 outside a body
    std::size_t m_expected = 0;
    std::array<unsigned char, protocol::kMaxPacketSize + kDecoderSlack> m_buffer{};
};
