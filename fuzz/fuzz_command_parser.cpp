// The simulated device's command parser: its result does not depend on how the bytes are cut into
// pieces, and every packet that it finds is a valid command.

#include "fuzz/check.h"
#include "fuzz/packets.h"

#include "sim/CommandParser.h"

#include <vector>

namespace {

using Packets = std::vector<std::vector<unsigned char>>;

Packets found(protocol::Bytes bytes, std::size_t piece)
{
    Packets packets;
    sim::CommandParser parser;
    while (!bytes.empty()) {
        const std::size_t size = std::min(piece, bytes.size());
        parser.feed(bytes.first(size), sim::Time(0), [&](protocol::Bytes packet) {
            packets.emplace_back(packet.begin(), packet.end());
        });
        bytes = bytes.subspan(size);
    }
    return packets;
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t maxSize, unsigned seed)
{
    return fuzz::mutateStream(data, size, maxSize, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const Packets packets = found({data, size}, size);
    std::size_t total = 0;
    for (const std::vector<unsigned char> &packet : packets) {
        FUZZ_CHECK(packet.size() >= 6 && packet.size() <= 261);
        FUZZ_CHECK(packet[0] == 'S' && packet[1] == 'C');
        FUZZ_CHECK(packet[2] + 256u * packet[3] == packet.size());
        FUZZ_CHECK(protocol::isIntact(packet.data(), static_cast<int>(packet.size())));
        total += packet.size();
    }
    FUZZ_CHECK(total <= size);
    FUZZ_CHECK(found({data, size}, 1) == packets);
    FUZZ_CHECK(found({data, size}, 7) == packets);
    return 0;
}
