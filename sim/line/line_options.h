#pragma once

#include <cstddef>
#include <cstdint>

#include "sim/line/usb_adapter.h"

namespace sim {

// The line between the device and the host. The defaults are those of a kind line: every
// transmission arrives as it is.
struct LineOptions
{
    AdapterModel adapter{};
    // The first sample after an opening loses its first bytes, a random number of them: the host
    // finds the stream in the middle of a packet.
    bool startsMidPacket = false;
    // In bytes. What does not fit is lost. 0: the size of the kernel's buffers.
    std::size_t receiveQueue = 0;
    // Then the adapter takes no bytes of the host for a while, like a device that holds CTS.
    Time outputStallsAt = kNever;
    Time outputStallTime = std::chrono::seconds(2);
    std::uint64_t seed = 1;
};

// The size of the receive queue of a Linux terminal. It keeps one of 4096 bytes free.
inline constexpr std::size_t kTerminalQueue = 4095;

} // namespace sim
