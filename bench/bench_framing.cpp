// Measures framing and decoding, from the byte to the stored sample, through the driver's entry
// point, byte by byte. For comparison: a minimal receiver for this one packet layout, and copying
// and summing the bytes without a receiver.

#include "bench/rounds.h"
#include "bench/sample_stream.h"
#include "driver/ImuDriver.h"

#include <cstring>
#include <mutex>

namespace {

constexpr int kPackets = 10000;
constexpr std::size_t kPacketSize = 106;
constexpr double kSliceSeconds = 0.2;

template <typename T>
void keep(const T &value)
{
    asm volatile("" : : "g"(&value) : "memory");
}

// Minimal receiver: accepts one packet type with one layout, detects only a wrong checksum, and
// reports nothing.
class LeastReceiver
{
public:
    void receiveByte(unsigned char byte)
    {
        if (m_count < m_payloadEnd) [[likely]] {
            m_packet[m_count++] = byte;
            m_sum += byte;
            return;
        }
        m_packet[m_count++] = byte;
        if (m_payloadEnd == 0)
            takeHeaderByte(byte);
        else if (m_count == kPacketSize)
            endPacket();
    }

    long packets() const { return m_packets; }

private:
    void takeHeaderByte(unsigned char byte)
    {
        if (m_count == 1 && byte != protocol::kSync)
            m_count = 0;
        if (m_count < protocol::kHeaderSize)
            return;
        if (protocol::readField<std::uint16_t>(&m_packet[2]) == kPacketSize)
            m_payloadEnd = kPacketSize - protocol::kChecksumSize;
        else
            m_count = 0;
        m_sum = 0;
    }

    void endPacket()
    {
        const auto sum = static_cast<std::uint16_t>(m_sum);
        if (protocol::readField<std::uint16_t>(&m_packet[m_payloadEnd]) == sum) {
            const std::lock_guard lock(m_lock);
            std::memcpy(m_blocks.data(), &m_packet[protocol::kHeaderSize], sizeof m_blocks);
            m_fresh = ~0U;
            ++m_packets;
        }
        m_count = m_payloadEnd = 0;
    }

    std::size_t m_count = 0;
    std::size_t m_payloadEnd = 0; // 0 outside a payload
    std::uint32_t m_sum = 0;
    std::array<unsigned char, kPacketSize> m_packet{};

    std::mutex m_lock;
    std::array<unsigned char, kPacketSize - protocol::kFrameSize> m_blocks{};
    unsigned int m_fresh = 0;
    long m_packets = 0;
};

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
        {"the least receiver, byte by byte",
         [&] {
             LeastReceiver receiver;
             const double figure = perByte(stream.size(), [&] {
                 LeastReceiver &target = receiver;
                 for (const unsigned char byte : protocol::Bytes(stream))
                     target.receiveByte(byte);
             });
             if (receiver.packets() == 0 || receiver.packets() % kPackets != 0)
                 std::printf("packets were lost\n");
             return figure;
         },
         {}},
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
                 // A local reference, so that the loop measures only the work of the driver.
                 imu &target = driver;
                 for (const unsigned char byte : protocol::Bytes(stream))
                     target.receiveByte(byte);
             });
         },
         {}},
    };
    rounds::run(candidates, rounds::count(argc, argv, 9));
    std::printf("Framing and decoding, %zu-byte packets, CPU time:\n", kPacketSize);
    rounds::print(candidates);
}
