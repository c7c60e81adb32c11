#pragma once

#include "driver/protocol.h"

#include <cstdint>
#include <vector>

namespace sim {

// What a receiver at hostBaud makes of bytes sent at deviceBaud: rubbish, fewer or more of it by
// the ratio of the speeds, different for each `turn`. Pure.
std::vector<unsigned char> garbage(protocol::Bytes sent, std::uint32_t deviceBaud,
                                   std::uint32_t hostBaud, std::uint64_t turn);

} // namespace sim
