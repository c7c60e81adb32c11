#include "sim/line/baud_mismatch.h"

#include <algorithm>

#include "sim/line/noise.h"

namespace sim {

std::vector<unsigned char> bytesAtWrongBaud(protocol::Bytes sent, std::uint32_t deviceBaud,
                                            std::uint32_t hostBaud, std::uint64_t turn)
{
    // A slower receiver decodes several bytes as one. A faster receiver decodes more bytes than
    // were sent, because it takes bits of one byte for start bits and stop bits.
    const double ratio = deviceBaud == 0 ? 1.0 : static_cast<double>(hostBaud) / deviceBaud;
    const auto count =
        static_cast<std::size_t>(static_cast<double>(sent.size()) * std::clamp(ratio, 0.05, 2.0)) +
        1;
    const Noise noise(turn);
    std::vector<unsigned char> decoded(count);
    for (std::size_t i = 0; i < count; ++i)
        decoded[i] = static_cast<unsigned char>(noise.bits(sent[i % sent.size()], i));
    return decoded;
}

} // namespace sim
