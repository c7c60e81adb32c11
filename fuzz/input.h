#pragma once

#include <algorithm>
#include <cstdint>

#include "protocol/protocol.h"

namespace fuzz {

// Reads values from the front of an input. Missing bytes at the end read as zero.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : m_rest(data, size)
    {
    }

    bool isEmpty() const { return m_rest.empty(); }
    std::uint8_t byte() { return value<std::uint8_t>(); }

    template <typename T>
    T value()
    {
        T result{};
        const protocol::Bytes bytes = take(sizeof result);
        std::memcpy(&result, bytes.data(), bytes.size());
        return result;
    }

    // Returns at most `count` bytes.
    protocol::Bytes take(std::size_t count)
    {
        const protocol::Bytes front = m_rest.first(std::min(count, m_rest.size()));
        m_rest = m_rest.subspan(front.size());
        return front;
    }

    protocol::Bytes rest() { return take(m_rest.size()); }

private:
    protocol::Bytes m_rest;
};

} // namespace fuzz
