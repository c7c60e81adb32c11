// Measures the CPU time per byte of the thread that reads an open port and frames and decodes
// packets. All three candidates read one byte at a time, so they differ only in the way they read.
// All bytes are in the port before the clock starts, so wake-ups and the writer do not count.

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <benchmark/benchmark.h>
#include <boost/asio/serial_port.hpp>
#include <boost/make_shared.hpp>

#include "bench/sample_stream.h"
#include "driver/imu.h"
#include "tests/fixtures/pty_port.h"

namespace {

// Fits into the terminal's queue, so that all of it can wait there.
constexpr int kPacketsAtOnce = 37;

// Receives and counts what is decoded, outside the driver.
class Receiver
{
public:
    virtual ~Receiver() = default;

    void take(unsigned char byte)
    {
        if (!m_framer.feed(byte))
            return;
        const boost::mutex::scoped_lock lock(m_lock);
        decodePacket(m_framer.packet(), m_framer.length(), m_store,
                     [this](protocol::BlockCode code) {
                         if (code == protocol::QUATERNION)
                             onSample();
                     });
    }

    virtual clockid_t readerClock() const = 0;
    int packets() const { return m_packets; }

    // Blocks the reading thread at the next sample until release().
    void hold() { m_held = true; }
    void release()
    {
        m_held = false;
        m_held.notify_all();
    }

protected:
    void onSample()
    {
        ++m_packets;
        m_held.wait(true);
    }

private:
    boost::mutex m_lock;
    SampleStore m_store;
    Framer m_framer;
    std::atomic<int> m_packets{0};
    std::atomic<bool> m_held{false};
};

clockid_t clockOf(pthread_t thread)
{
    clockid_t clock = CLOCK_THREAD_CPUTIME_ID;
    pthread_getcpuclockid(thread, &clock);
    return clock;
}

class SystemReader : public Receiver
{
public:
    explicit SystemReader(const std::string &path)
        : m_fd(::open(path.c_str(), O_RDWR | O_NOCTTY))
        , m_thread([this] {
            unsigned char byte = 0;
            while (::read(m_fd, &byte, 1) == 1)
                take(byte);
        })
    {
    }
    clockid_t readerClock() const override
    {
        return clockOf(const_cast<std::thread &>(m_thread).native_handle());
    }

private:
    int m_fd;
    std::thread m_thread;
};

class AsioReader : public Receiver
{
public:
    explicit AsioReader(const std::string &path)
        : m_port(m_context, path)
    {
        arm();
        m_thread = std::thread([this] { m_context.run(); });
    }
    clockid_t readerClock() const override
    {
        return clockOf(const_cast<std::thread &>(m_thread).native_handle());
    }

private:
    void arm()
    {
        m_port.async_read_some(boost::asio::buffer(&m_byte, 1),
                               [this](const boost::system::error_code &error, std::size_t) {
                                   if (error)
                                       return;
                                   take(m_byte);
                                   arm();
                               });
    }

    boost::asio::io_context m_context;
    boost::asio::serial_port m_port;
    unsigned char m_byte = 0;
    std::thread m_thread;
};

class DriverReader : public Receiver
{
public:
    explicit DriverReader(const std::string &path)
        : m_driver(boost::make_shared<imu>(nullptr))
    {
        QObject::connect(
            m_driver.get(), &imu::quaternionUpdated, m_driver.get(),
            [this] {
                m_reader = pthread_self();
                onSample();
            },
            Qt::DirectConnection);
        m_driver->start();
        m_driver->connect(path, 921600, 8, 0, 1);
    }
    clockid_t readerClock() const override { return clockOf(m_reader); }

private:
    boost::shared_ptr<imu> m_driver;
    std::atomic<pthread_t> m_reader{};
};

void await(const std::function<bool()> &condition)
{
    while (!condition())
        std::this_thread::sleep_for(std::chrono::microseconds(200));
}

double seconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Sends blocks through the port and measures the CPU time of the reading thread. The first packet
// of each block is not counted: it blocks the reader until the others wait in the port.
template <typename Reader>
void readBytes(benchmark::State &state)
{
    static PtyPort port;
    static Reader reader(port.path()); // its thread does not end
    Receiver &receiver = reader;
    const std::vector<unsigned char> stream = sampleStream(kPacketsAtOnce);
    const QByteArray block(reinterpret_cast<const char *>(stream.data()),
                           static_cast<qsizetype>(stream.size()));
    const int waiting = static_cast<int>(stream.size()) / kPacketsAtOnce * (kPacketsAtOnce - 1);
    for (auto _ : state) {
        const int before = receiver.packets();
        receiver.hold();
        port.write(block);
        await([&] { return receiver.packets() > before && port.unreadByHost() == waiting; });
        const double start = seconds(receiver.readerClock());
        receiver.release();
        await([&] { return receiver.packets() == before + kPacketsAtOnce; });
        state.SetIterationTime(seconds(receiver.readerClock()) - start);
    }
    state.SetBytesProcessed(state.iterations() * waiting);
}

} // namespace

BENCHMARK(readBytes<SystemReader>)->UseManualTime();
BENCHMARK(readBytes<AsioReader>)->UseManualTime();
BENCHMARK(readBytes<DriverReader>)->UseManualTime();

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::fflush(nullptr);
    std::_Exit(0); // the reader threads do not end
}
