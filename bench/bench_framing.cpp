// From the byte to the store: framing and decoding through the driver's own entry point, fed byte
// by byte, against the least that any receiver must do, which is to sum and to copy.

#include "bench/rounds.h"
#include "bench/sample_stream.h"
#include "driver/ImuDriver.h"

#include <cstring>

namespace {

constexpr int kPackets = 10000;
constexpr std::size_t kPacketSize = 106;
constexpr double kSliceSeconds = 0.2;

template <typename T>
void keep(const T &value)
{
    asm volatile("" : : "g"(&value) : "memory");
}

double perByte(std::size_t bytes, const std::function<void()> &once)
{
    std::size_t passes = 0;
    const double start = rounds::seconds(CLOCK_PROCESS_CPUTIME_ID);
    double used = 0;
    do {
        once();
        ++passes;
        used = rounds::seconds(CLOCK_PROCESS_CPUTIME_ID) - start;
    } while (used < kSliceSeconds);
    return used / static_cast<double>(passes * bytes) * 1e9;
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<unsigned char> stream = sampleStream(kPackets);
    std::vector<unsigned char> copy(kPacketSize);
    imu driver(nullptr);

    std::vector<rounds::Candidate> candidates{
        {"sum and copy, packet by packet",
         [&] {
             return perByte(stream.size(), [&] {
                 std::uint32_t sum = 0;
                 for (std::size_t at = 0; at < stream.size(); at += kPacketSize) {
                     sum += protocol::checksum({&stream[at + 4], kPacketSize - 6});
                     std::memcpy(copy.data(), &stream[at], kPacketSize);
                     keep(copy[0]);
                 }
                 keep(sum);
             });
         },
         {}},
        {"imu::receiveByte, framed, decoded, stored",
         [&] {
             return perByte(stream.size(), [&] {
                 for (const unsigned char byte : stream)
                     driver.receiveByte(byte);
             });
         },
         {}},
    };
    rounds::run(candidates, rounds::count(argc, argv, 9));
    std::printf("Framing and decoding, %zu-byte packets, CPU time:\n", kPacketSize);
    rounds::print(candidates);
}
