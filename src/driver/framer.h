#pragma once

#include "driver/decoder.h"
#include "driver/protocol.h"

#include <array>

// Cuts a byte stream into packets. Only the hunting state resynchronises: a sync byte inside a
// packet is data. One thread feeds it; it knows neither ports nor locks.
class Framer
{
public:
    // Takes the next byte. True if it completed a packet, which then stands in packet() and
    // length() until the next byte. The checksum is for the decoder to judge.
    bool feed(unsigned char byte)
    {
        // Nearly every byte is a body byte and not the last one.
        if (m_index < m_last) [[likely]] {
            store(byte);
            return false;
        }
        return feedTurn(byte);
    }

    // Forgets a half-received packet, as after a failed read.
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

    // The index whose byte ends the body. An impossible length ends it with the byte after the
    // header; a length of 1 to 4 lies behind the index already and would never be reached, so a
    // full buffer ends it. Either way the line heals.
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
    // As wide as an address: each byte waits for the index the one before it left, and widening
    // that would be half of its cost.
    std::size_t m_index = 0;
    std::size_t m_last = 0; // of a body's bytes; 0 outside a body
    std::size_t m_expected = 0;
    std::array<unsigned char, protocol::kMaxPacketSize + kDecoderSlack> m_buffer{};
};
