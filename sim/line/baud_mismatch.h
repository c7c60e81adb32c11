#pragma once

#include <cstdint>
#include <vector>

#include "protocol/protocol.h"

namespace sim {

// The corrupted bytes that a receiver at hostBaud decodes from bytes sent at deviceBaud. The number
// of bytes changes by the ratio hostBaud / deviceBaud. The content differs for each `turn`. Pure.
std::vector<unsigned char> bytesAtWrongBaud(protocol::Bytes sent, std::uint32_t deviceBaud,
                                            std::uint32_t hostBaud, std::uint64_t turn);

} // namespace sim
