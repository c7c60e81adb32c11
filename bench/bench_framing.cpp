// Measures framing and decoding, from the byte to the stored sample, through the driver's entry
// point, byte by byte. For comparison: a minimal receiver for this one packet layout, and copying
// and summing the bytes without a receiver.

#include <cstring>
#include <mutex>

#include <benchmark/benchmark.h>

#include "bench/sample_stream.h"
#include "driver/imu.h"

namespace {

constexpr int kPackets = 10000;
constexpr std::size_t kPacketSize = 106;

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

const std::vector<unsigned char> &stream()
{
    static const std::vector<unsigned char> bytes = sampleStream(kPackets);
    return bytes;
}

void countBytes(benchmark::State &state)
{
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(stream().size()));
}

void leastReceiver(benchmark::State &state)
{
    LeastReceiver receiver;
    for (auto _ : state) {
        for (const unsigned char byte : stream())
            receiver.receiveByte(byte);
    }
    if (receiver.packets() != state.iterations() * kPackets)
        state.SkipWithError("packets were lost");
    countBytes(state);
}

void sumAndCopy(benchmark::State &state)
{
    std::vector<unsigned char> copy(kPacketSize);
    for (auto _ : state) {
        std::uint32_t sum = 0;
        for (std::size_t at = 0; at < stream().size(); at += kPacketSize) {
            sum += protocol::checksum({&stream()[at + 4], kPacketSize - 6});
            std::memcpy(copy.data(), &stream()[at], kPacketSize);
            benchmark::DoNotOptimize(copy.data());
        }
        benchmark::DoNotOptimize(sum);
    }
    countBytes(state);
}

void driverReceiver(benchmark::State &state)
{
    imu driver(nullptr);
    for (auto _ : state) {
        for (const unsigned char byte : stream())
            driver.receiveByte(byte);
    }
    if (driver.statistics().packets != static_cast<std::uint64_t>(state.iterations()) * kPackets)
        state.SkipWithError("packets were lost");
    countBytes(state);
}

} // namespace

BENCHMARK(leastReceiver);
BENCHMARK(sumAndCopy);
BENCHMARK(driverReceiver);

BENCHMARK_MAIN();
