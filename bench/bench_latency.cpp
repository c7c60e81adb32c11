// Measures the latency from the first byte of a packet on the line to quaternionUpdated in the GUI
// thread, with the window shown and its worker polling. Variants schedule the worker differently.
// The last variant stops the worker, which shows the cost of its polling for the reader and the
// window. Two more put an adapter with its latency timer between device and host.
//
//     bench_latency [seconds per round] [rounds] [packets per second]
//
// The line is a pseudo-terminal: a packet arrives at once, independent of a baud rate. Variants run
// in turn, so that other load of the machine affects all of them equally.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include <boost/shared_ptr.hpp>

#include <QApplication>
#include <QEventLoop>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>

#include "app/main_window.h"
#include "app/quiet_exit.h"
#include "driver/imu.h"
#include "sim/line/usb_adapter.h"

namespace {

using Clock = std::chrono::steady_clock;

// The device's end of a pseudo-terminal.
class Line
{
public:
    Line()
        : m_master(::posix_openpt(O_RDWR | O_NOCTTY))
    {
        if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0) {
            std::perror("pseudo-terminal");
            std::exit(1);
        }
        termios settings{};
        ::tcgetattr(m_master, &settings);
        ::cfmakeraw(&settings);
        ::tcsetattr(m_master, TCSANOW, &settings);
    }

    std::string path() const { return ::ptsname(m_master); }

    void write(const std::vector<unsigned char> &bytes) const
    {
        if (::write(m_master, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            std::fprintf(stderr, "a packet did not fit the line\n");
    }

private:
    int m_master;
};

void putBlock(std::vector<unsigned char> &payload, unsigned char code, std::vector<float> values)
{
    payload.push_back(code);
    const std::size_t at = payload.size();
    payload.resize(at + values.size() * sizeof(float));
    std::memcpy(payload.data() + at, values.data(), values.size() * sizeof(float));
}

// All blocks of a device at full output, turning about the vertical.
std::vector<unsigned char> fullPacket(std::size_t sample)
{
    const float half = static_cast<float>(sample) * 0.0005F;
    std::vector<unsigned char> payload;
    putBlock(payload, protocol::QUATERNION, {0, 0, std::sin(half), std::cos(half)});
    putBlock(payload, protocol::ACCELERATIONS, {0.012F + half, -0.034F, 9.80665F});
    putBlock(payload, protocol::RATES, {0.00123F, -0.00456F, 1.0F + half});
    putBlock(payload, protocol::EULER, {0.1F, 0.2F, 2 * half});
    putBlock(payload, protocol::MAGNETIC_FIELD, {std::cos(half), std::sin(half), -0.7F});
    putBlock(payload, protocol::COVARIANCES, {1e-5F, 1.1e-5F, 1.2345e-5F});
    putBlock(payload, protocol::ALTITUDE, {1013.25F});

    unsigned sum = 0;
    for (const unsigned char byte : payload)
        sum += byte;
    const std::size_t length = payload.size() + 6;
    std::vector<unsigned char> packet{'S', 'D', static_cast<unsigned char>(length),
                                      static_cast<unsigned char>(length >> 8)};
    packet.insert(packet.end(), payload.begin(), payload.end());
    packet.push_back(static_cast<unsigned char>(sum));
    packet.push_back(static_cast<unsigned char>(sum >> 8));
    return packet;
}

// Passes on the bytes in the USB packets of an adapter. A packet of the device reaches the adapter
// at once.
class AdapterLine
{
public:
    AdapterLine(const Line &line, const sim::AdapterModel &model)
        : m_line(line)
        , m_adapter(model)
    {
    }

    void write(const std::vector<unsigned char> &bytes)
    {
        m_adapter.push({.bytes = bytes, .baud = 921600, .done = now()});
        passOn();
    }
    // Passes on what leaves the adapter by then.
    void runUntil(Clock::time_point end)
    {
        while (m_adapter.nextDone() != sim::kNever && m_start + m_adapter.nextDone() < end) {
            std::this_thread::sleep_until(m_start + m_adapter.nextDone());
            passOn();
        }
        std::this_thread::sleep_until(end);
    }

private:
    sim::Time now() const { return Clock::now() - m_start; }
    void passOn()
    {
        while (const auto packet = m_adapter.take(now()))
            m_line.write(packet->bytes);
    }

    const Line &m_line;
    sim::UsbAdapter m_adapter;
    Clock::time_point m_start = Clock::now();
};

// Latencies in microseconds of the packets of one round.
std::vector<double> stream(const Line &line, imu &driver, std::chrono::seconds duration, int rateHz,
                           const sim::AdapterModel &model = {})
{
    const auto total = static_cast<std::size_t>(duration.count() * rateHz);
    std::vector<Clock::time_point> sent(total);
    std::vector<double> latencies;
    latencies.reserve(total);

    QEventLoop loop;
    QObject receiver; // in this thread, so the connection is queued
    QObject::connect(&driver, &imu::quaternionUpdated, &receiver, [&] {
        const std::chrono::duration<double, std::micro> late =
            Clock::now() - sent[latencies.size()];
        latencies.push_back(late.count());
        if (latencies.size() == total)
            loop.quit();
    });

    std::thread device([&] {
        const auto period = std::chrono::nanoseconds(std::chrono::seconds(1)) / rateHz;
        auto due = Clock::now();
        AdapterLine adapter(line, model);
        for (std::size_t i = 0; i < total; ++i) {
            const std::vector<unsigned char> packet = fullPacket(i);
            adapter.runUntil(due += period);
            sent[i] = Clock::now();
            adapter.write(packet);
        }
        adapter.runUntil(Clock::now() + 2 * model.latency);
    });
    loop.exec();
    device.join();
    return latencies;
}

double quantile(std::vector<double> values, double q)
{
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(q * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

// --- Threads -----------------------------------------------------------------------------------

pid_t threadNamed(const std::string &name)
{
    for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string comm;
        std::ifstream(task.path() / "comm") >> comm;
        if (comm == name)
            return std::stoi(task.path().filename());
    }
    return 0;
}

// CPU time of a thread of this process, in seconds.
double processorTime(pid_t thread)
{
    double nanoseconds = 0;
    std::ifstream("/proc/self/task/" + std::to_string(thread) + "/schedstat") >> nanoseconds;
    return nanoseconds * 1e-9;
}

// --- Stopping the worker

std::atomic<bool> s_hold{false};
std::atomic<bool> s_held{false};

void stayHere(int /*signal*/)
{
    s_held = true;
    while (s_hold) {
        const timespec pause{0, 20'000'000};
        ::nanosleep(&pause, nullptr);
    }
    s_held = false;
}

// Stops the worker in a signal handler. Between two rate updates and without samples the worker
// only reads flags, so it holds no lock that another thread may wait for.
void holdStill(MainWindow &window, pid_t worker)
{
    QSignalSpy(&window, &MainWindow::dataRateWrite).wait();
    std::signal(SIGUSR1, stayHere);
    s_hold = true;
    ::syscall(SYS_tgkill, ::getpid(), worker, SIGUSR1);
    while (!s_held)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void release()
{
    s_hold = false;
    while (s_held)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// --- Variants

struct Variant
{
    const char *name;
    int policy;
    int nice;
    bool polls = true;
    sim::AdapterModel adapter = {};
    std::vector<double> latencies = {};
    double readerSeconds = 0;
    double guiSeconds = 0;
    double seconds = 0;
    std::string rateLabel = {};
};

std::atomic<pid_t> s_reader{0};

// Called only in the reader thread of the driver under test.
void noteReader()
{
    s_reader = ::gettid();
}

void run(Variant &variant, const Line &line, imu &driver, std::chrono::seconds duration, int rateHz)
{
    const double guiBefore = processorTime(::getpid());
    const double readerBefore = s_reader == 0 ? 0 : processorTime(s_reader);
    const std::vector<double> latencies = stream(line, driver, duration, rateHz, variant.adapter);
    variant.latencies.insert(variant.latencies.end(), latencies.begin(), latencies.end());
    variant.guiSeconds += processorTime(::getpid()) - guiBefore;
    variant.readerSeconds += processorTime(s_reader) - readerBefore;
    variant.seconds += static_cast<double>(duration.count());
}

bool schedule(pid_t worker, const Variant &variant)
{
    const sched_param none{};
    return ::sched_setscheduler(worker, variant.policy, &none) == 0 &&
           ::setpriority(PRIO_PROCESS, static_cast<id_t>(worker), variant.nice) == 0;
}

void print(const Variant &variant, double reference)
{
    const double median = quantile(variant.latencies, 0.5);
    std::printf("%-34s %9.0f %9.0f %9.0f   %5.2f  %5.1f %%  %5.1f %%  %s\n", variant.name, median,
                quantile(variant.latencies, 0.99), quantile(variant.latencies, 1),
                median / reference, 100 * variant.readerSeconds / variant.seconds,
                100 * variant.guiSeconds / variant.seconds, variant.rateLabel.c_str());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    const std::chrono::seconds duration(argc > 1 ? std::atoi(argv[1]) : 3);
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
    const int rateHz = argc > 3 ? std::atoi(argv[3]) : 1000;
    quiet_exit::install();
    QApplication application(argc, argv);

    std::printf("%d packets/s of all blocks, %d x %d s each; microseconds\n", rateHz, rounds,
                static_cast<int>(duration.count()));
    std::printf("%-34s %9s %9s %9s   %5s  %7s  %7s  %s\n", "", "median", "p99", "max", "ratio",
                "reader", "window", "rate label");

    // Without window and worker: measures only the driver and a queued signal. Its line then stays
    // open without data, so that its reader thread sleeps.
    Line bareLine;
    boost::shared_ptr<imu> bare(new imu(nullptr));
    bare->start();
    bare->connect(bareLine.path(), 921600, 8, 0, 1);
    QObject::connect(bare.get(), &imu::quaternionUpdated, bare.get(), noteReader,
                     Qt::DirectConnection);
    Variant alone{"driver alone", SCHED_OTHER, 0};
    stream(bareLine, *bare, std::chrono::seconds(1), rateHz); // sets s_reader
    run(alone, bareLine, *bare, duration, rateHz);
    const double reference = quantile(alone.latencies, 0.5);
    print(alone, reference);

    auto *window = new MainWindow;
    window->show();
    if (!QTest::qWaitForWindowExposed(window))
        return 1;
    auto *driver = window->findChild<imu *>();
    Line line;
    driver->connect(line.path(), 921600, 8, 0, 1);
    const pid_t worker = threadNamed("vornix-data");

    QObject::connect(driver, &imu::quaternionUpdated, driver, noteReader, Qt::DirectConnection);
    stream(line, *driver, std::chrono::seconds(1), rateHz);

    std::vector<Variant> variants{{"window, worker nice 10 (as built)", SCHED_OTHER, 10},
                                  {"window, worker nice 19", SCHED_OTHER, 19},
                                  {"window, worker SCHED_IDLE", SCHED_IDLE, 0},
                                  {"window, worker nice 0", SCHED_OTHER, 0},
                                  {"window, worker held still", SCHED_OTHER, 10, false},
                                  {"window, FTDI adapter, 1 ms", SCHED_OTHER, 10, true,
                                   sim::AdapterModel::ftdi(std::chrono::milliseconds(1))},
                                  {"window, FTDI adapter, 16 ms", SCHED_OTHER, 10, true,
                                   sim::AdapterModel::ftdi(std::chrono::milliseconds(16))}};
    for (int round = 0; round < rounds; ++round) {
        for (Variant &variant : variants) {
            if (!schedule(worker, variant)) {
                variant.rateLabel = "not permitted";
                continue;
            }
            if (!variant.polls)
                holdStill(*window, worker);
            run(variant, line, *driver, duration, rateHz);
            if (!variant.polls)
                release();
            else
                variant.rateLabel += window->findChild<QLabel *>(QStringLiteral("label_datarate"))
                                         ->text()
                                         .toStdString() +
                                     "; ";
        }
    }
    for (const Variant &variant : variants) {
        if (!variant.latencies.empty())
            print(variant, reference);
    }
    quiet_exit::exitOnTerminate(0);
    delete window;
}
