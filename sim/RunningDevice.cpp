#include "sim/RunningDevice.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace sim {

namespace {

// A process that was stopped, or a machine that slept, does not owe its host the samples of all
// that time.
constexpr Time kLongestGap = std::chrono::milliseconds(500);
// The kernel may be this late by default, half a sample at 1000 Hz with what the machine adds.
constexpr unsigned long kTimerSlackNs = 10'000;

int makeWake()
{
    const int fd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    return fd;
}

} // namespace

RunningDevice::RunningDevice(DeviceOptions options)
    : m_wake(makeWake())
    , m_device(std::move(options))
    , m_pty(std::make_unique<Pty>())
{
    start();
}

RunningDevice::RunningDevice(int masterFd, DeviceOptions options)
    : m_wake(makeWake())
    , m_device(std::move(options))
    , m_pty(std::make_unique<Pty>(FileDescriptor(masterFd)))
{
    start();
}

RunningDevice::~RunningDevice()
{
    m_stop = true;
    wake();
    m_thread.join();
    removeLink();
}

void RunningDevice::start()
{
    m_epoch = std::chrono::steady_clock::now();
    m_thread = std::thread(&RunningDevice::run, this);
}

void RunningDevice::wake() const
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(m_wake.get(), &one, sizeof one);
}

// --- The cable ---------------------------------------------------------------------------------

std::string RunningDevice::path() const
{
    const std::lock_guard lock(m_mutex);
    if (!m_link.empty())
        return m_link;
    return m_pty ? m_pty->path() : std::string();
}

void RunningDevice::setLink(const std::string &path)
{
    const std::lock_guard lock(m_mutex);
    removeLink();
    m_link = path;
    makeLink();
}

void RunningDevice::makeLink()
{
    if (m_link.empty() || !m_pty)
        return;
    std::filesystem::remove(m_link);
    std::filesystem::create_symlink(m_pty->path(), m_link);
}

void RunningDevice::removeLink()
{
    std::error_code ignored;
    if (!m_link.empty())
        std::filesystem::remove(m_link, ignored);
}

void RunningDevice::powerCycle()
{
    const std::lock_guard lock(m_mutex);
    m_device.powerCycle(clock());
    wake();
}

void RunningDevice::unplug()
{
    std::unique_lock lock(m_mutex);
    if (!m_pty)
        return;
    removeLink();
    // A descriptor that is being waited for does not hang up when it is closed, so the thread that
    // waits has to do it.
    m_pulled = true;
    wake();
    m_released.wait(lock, [this] { return !m_pulled; });
}

void RunningDevice::plugIn()
{
    const std::lock_guard lock(m_mutex);
    if (m_pty)
        return;
    m_pty = std::make_unique<Pty>();
    m_device.powerCycle(clock());
    makeLink();
    wake();
}

bool RunningDevice::isPluggedIn() const
{
    const std::lock_guard lock(m_mutex);
    return m_pty != nullptr;
}

bool RunningDevice::isOpenedByHost() const
{
    const std::lock_guard lock(m_mutex);
    return m_pty && m_pty->isOpenedByHost();
}

// --- What tests ask ----------------------------------------------------------------------------

std::vector<std::vector<unsigned char>> RunningDevice::receivedCommands() const
{
    return inspect([](const Device &device) { return device.receivedCommands(); });
}

void RunningDevice::clearReceivedCommands()
{
    change([](Device &device) { device.clearReceivedCommands(); });
}

LineCounters RunningDevice::counters() const
{
    const std::lock_guard lock(m_mutex);
    LineCounters counters = m_counters;
    counters.skipped = m_device.counters().samplesSkipped;
    return counters;
}

// --- The thread --------------------------------------------------------------------------------

Time RunningDevice::clock()
{
    const auto now = std::chrono::steady_clock::now();
    Time time = now - m_epoch;
    if (time - m_lastServed > kLongestGap) {
        m_epoch += time - m_lastServed - kLongestGap;
        time = m_lastServed + kLongestGap;
    }
    m_lastServed = time;
    return time;
}

void RunningDevice::run()
{
    ::prctl(PR_SET_TIMERSLACK, kTimerSlackNs, 0, 0, 0);
    while (!m_stop) {
        Time next{0};
        int master = -1;
        int events = -1;
        {
            const std::lock_guard lock(m_mutex);
            letGo();
            serve(clock());
            next = m_device.nextEvent();
            if (m_pty) {
                master = m_pty->masterFd();
                events = m_pty->eventsFd();
            }
            next -= std::min(next, Time(std::chrono::steady_clock::now() - m_epoch));
        }
        sleepUntil(next, master, events);
    }
}

void RunningDevice::letGo()
{
    if (!m_pulled)
        return;
    m_pty.reset();
    m_pulled = false;
    m_released.notify_all();
}

void RunningDevice::serve(Time now)
{
    if (m_pty) {
        hear(now);
    }
    speak(now);
}

void RunningDevice::hear(Time now)
{
    m_device.advance(now);
    for (bool more = true; more;) {
        const Pty::Received received = m_pty->receive();
        if (!received.bytes.empty())
            m_device.receive(received.bytes, received.hostBaud.value_or(m_device.lineBaud()), now);
        more = received.mayHaveMore;
    }
}

void RunningDevice::speak(Time now)
{
    while (const auto transmission = m_device.transmit(now)) {
        if (m_pty)
            count(m_pty->send(transmission->bytes, transmission->baud), *transmission);
    }
}

void RunningDevice::count(Pty::Fate fate, const Transmission &transmission)
{
    switch (fate) {
    case Pty::Fate::Arrived:
        m_counters.sent += transmission.packets;
        m_counters.bytesSent += transmission.bytes.size();
        return;
    case Pty::Fate::Unheard:
        m_counters.unheard += transmission.packets;
        return;
    case Pty::Fate::Garbled:
        m_counters.garbled += transmission.packets;
        return;
    case Pty::Fate::Overrun:
        m_counters.overrun += transmission.packets;
        return;
    }
}

void RunningDevice::sleepUntil(Time next, int master, int events) const
{
    pollfd fds[3] = {{m_wake.get(), POLLIN, 0}, {events, POLLIN, 0}, {master, POLLIN, 0}};
    const Time slice = std::min(next, kLongestGap / 2);
    timespec timeout{};
    timeout.tv_sec = slice.count() / 1'000'000'000;
    timeout.tv_nsec = slice.count() % 1'000'000'000;
    ::ppoll(fds, 3, &timeout, nullptr);
    if (fds[0].revents != 0) {
        std::uint64_t drained = 0;
        [[maybe_unused]] const ssize_t ignored = ::read(m_wake.get(), &drained, sizeof drained);
    }
}

} // namespace sim
