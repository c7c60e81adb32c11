#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "protocol/protocol.h"

// libFuzzer's default mutation: in place, up to maxSize bytes; returns the new size.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t *data, std::size_t size, std::size_t maxSize);

namespace fuzz {

// Repairs everything that begins like a packet: shortens a length that exceeds the data and
// corrects the checksum. Random mutation almost never produces a right checksum, so without this
// hardly any packet would pass the first check.
inline void repairPackets(std::span<std::uint8_t> data)
{
    using namespace protocol;
    for (std::size_t i = 0; i + kFrameSize <= data.size();) {
        const std::uint8_t type = data[i + 1];
        if (data[i] != kSync || (type != kDataType && type != kReplyType && type != kCommandType)) {
            ++i;
            continue;
        }
        const std::span packet = data.subspan(i);
        std::size_t length = readField<std::uint16_t>(&packet[2]);
        if (length < kFrameSize || length > packet.size()) {
            length = packet.size();
            writeField(&packet[2], static_cast<std::uint16_t>(length));
        }
        const auto payload = packet.subspan(kHeaderSize, length - kFrameSize);
        writeField(&packet[length - kChecksumSize], checksum(payload));
        i += length;
    }
}

// Mutates the input, and repairs the packets in four of five cases.
inline std::size_t mutateStream(std::uint8_t *data, std::size_t size, std::size_t maxSize,
                                unsigned seed)
{
    const std::size_t mutated = LLVMFuzzerMutate(data, size, maxSize);
    if (seed % 5 != 0)
        repairPackets({data, mutated});
    return mutated;
}

} // namespace fuzz
