#include "sim/line/pty_server.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace sim {

namespace {

// Longest step of the clock. After a stop of the process or a suspend of the machine, the device
// does not send the samples of the whole gap.
constexpr Time kLongestGap = std::chrono::milliseconds(500);
// Timer slack of the thread. The default slack of the kernel, together with other delays of the
// machine, may reach half a sample interval at 1000 Hz.
constexpr unsigned long kTimerSlackNs = 10'000;
// Interval between two checks whether the host has read everything.
constexpr Time kHostPause = std::chrono::microseconds(50);

int makeWake()
{
    const int fd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
    return fd;
}

} // namespace

PtyServer::PtyServer(std::unique_ptr<SimulatedDevice> device)
    : PtyServer(std::move(device), std::make_unique<Pty>())
{
}

PtyServer::PtyServer(std::unique_ptr<SimulatedDevice> device, std::unique_ptr<Pty> pty)
    : m_wake(makeWake())
    , m_device(std::move(device))
    , m_pty(std::move(pty))
{
    start();
}

PtyServer::~PtyServer()
{
    m_stop = true;
    wake();
    m_thread.join();
    removeLink();
}

void PtyServer::start()
{
    m_epoch = std::chrono::steady_clock::now();
    m_thread = std::thread(&PtyServer::run, this);
}

void PtyServer::wake() const
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(m_wake.get(), &one, sizeof one);
}

// --- The cable ---------------------------------------------------------------------------------

std::string PtyServer::path() const
{
    const std::lock_guard lock(m_mutex);
    if (!m_link.empty())
        return m_link;
    return m_pty ? m_pty->path() : std::string();
}

void PtyServer::setLink(const std::string &path)
{
    const std::lock_guard lock(m_mutex);
    removeLink();
    m_link = path;
    makeLink();
}

void PtyServer::setCableListener(CableListener listener)
{
    const std::lock_guard lock(m_mutex);
    m_cableListener = std::move(listener);
}

void PtyServer::makeLink()
{
    if (m_link.empty() || !m_pty)
        return;
    std::filesystem::remove(m_link);
    std::filesystem::create_symlink(m_pty->path(), m_link);
}

void PtyServer::removeLink()
{
    std::error_code ignored;
    if (!m_link.empty())
        std::filesystem::remove(m_link, ignored);
}

void PtyServer::powerCycle()
{
    const std::lock_guard lock(m_mutex);
    m_device->powerCycle(clock());
    wake();
}

void PtyServer::unplug()
{
    std::unique_lock lock(m_mutex);
    if (!m_pty)
        return;
    removeLink();
    // Closing a descriptor in one thread while another thread polls it does not hang up the line.
    // So the polling thread closes it.
    m_pulled = true;
    wake();
    m_released.wait(lock, [this] { return !m_pulled; });
}

void PtyServer::plugIn()
{
    const std::lock_guard lock(m_mutex);
    if (m_pty)
        return;
    putBack(clock());
    m_device->powerCycle(clock());
    wake();
}

void PtyServer::putBack(Time now)
{
    m_pty = std::make_unique<Pty>();
    makeLink();
    if (m_observer)
        m_observer->pluggedIn(now);
}

bool PtyServer::isPluggedIn() const
{
    const std::lock_guard lock(m_mutex);
    return m_pty != nullptr;
}

bool PtyServer::isOpenedByHost() const
{
    const std::lock_guard lock(m_mutex);
    return m_pty && m_pty->isOpenedByHost();
}

std::optional<std::uint32_t> PtyServer::seenHostBaud() const
{
    const std::lock_guard lock(m_mutex);
    return m_pty ? m_pty->seenBaud() : std::nullopt;
}

// --- Recording and counters --------------------------------------------------------------------

void PtyServer::setObserver(LineObserver *observer)
{
    const std::lock_guard lock(m_mutex);
    m_observer = observer;
}

void PtyServer::setLineOptions(const LineOptions &options)
{
    const std::lock_guard lock(m_mutex);
    m_options = options;
    m_delivery.setOptions(options);
    wake();
}

LineCounters PtyServer::counters() const
{
    const std::lock_guard lock(m_mutex);
    LineCounters counters = m_delivery.counters();
    counters.skipped = m_device->samplesSkipped();
    counters.savesRefused = m_device->savesRefused();
    return counters;
}

// --- The thread --------------------------------------------------------------------------------

Time PtyServer::clock()
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

void PtyServer::run()
{
    ::prctl(PR_SET_TIMERSLACK, kTimerSlackNs, 0, 0, 0);
    while (!m_stop) {
        Time next{0};
        int master = -1;
        int events = -1;
        std::optional<bool> plugged;
        CableListener listener;
        {
            const std::lock_guard lock(m_mutex);
            const Time now = clock();
            closeUnplugged(now);
            serve(now);
            plugged = executeCableMove(now);
            listener = m_cableListener;
            next = std::min({m_device->nextEvent(), m_delivery.nextDone(), nextStallChange()});
            if (m_pty) {
                master = m_pty->masterFd();
                events = m_pty->eventsFd();
            }
            next -= std::min(next, Time(std::chrono::steady_clock::now() - m_epoch));
            if (isHeldBack())
                next = std::max(next, kHostPause);
        }
        if (plugged && listener)
            listener(*plugged);
        sleepUntil(next, master, events);
    }
}

void PtyServer::closeUnplugged(Time now)
{
    if (!m_pulled)
        return;
    m_pty.reset();
    m_delivery.unplug();
    // The cable carries the power: a flash write that has begun must not end.
    m_device->powerCycle(now);
    m_outputStalls = false;
    m_pulled = false;
    m_released.notify_all();
    if (m_observer)
        m_observer->unplugged(now);
}

// Executes the cable moves that the device requests. A move has no effect if unplug() or plugIn()
// has already made it.
std::optional<bool> PtyServer::executeCableMove(Time now)
{
    if (isHeldBack())
        return std::nullopt;
    const auto move = m_device->takeCableMove(now);
    if (move == SimulatedDevice::CableMove::PullOut && m_pty) {
        removeLink();
        m_pulled = true;
        closeUnplugged(now);
        return false;
    }
    if (move == SimulatedDevice::CableMove::PutBack && !m_pty) {
        putBack(now);
        return true;
    }
    return std::nullopt;
}

// Sending comes first: bytes whose transmission ends by `now` were sent before the host's bytes are
// read.
void PtyServer::serve(Time now)
{
    stallOutput(now);
    transmitDue(now);
    if (m_pty)
        receivePending(now);
}

void PtyServer::receivePending(Time now)
{
    m_device->advance(now);
    for (bool more = true; more;) {
        const Pty::Received received = m_pty->receive();
        const bool attached = m_pty->isOpenedByHost() && m_pty->shownBaud() == m_device->lineBaud();
        m_device->setHostAttached(attached, now);
        if (m_observer && attached)
            m_observer->hostAttached(now);
        if (!received.bytes.empty()) {
            if (m_observer)
                m_observer->received(received.bytes, now);
            const std::uint32_t hostBaud = received.hostBaud.value_or(m_device->lineBaud());
            if (hostBaud != m_device->lineBaud())
                m_delivery.counters().hostBytesLost += received.bytes.size();
            m_device->receive(received.bytes, hostBaud, now);
        }
        more = received.mayHaveMore;
    }
    m_delivery.countUnread(*m_pty);
}

void PtyServer::transmitDue(Time now)
{
    while (!isHeldBack()) {
        auto transmission = m_device->transmit(now);
        if (m_pty && transmission)
            m_delivery.accept(std::move(*transmission), *m_pty, m_observer);
        if (m_pty)
            m_delivery.deliverDue(now, *m_pty, m_observer);
        if (!transmission)
            return;
    }
}

bool PtyServer::isHeldBack() const
{
    return m_pty && m_device->waitsForHost() && m_pty->hasUnread();
}

// While a host's output stalls, its bytes stay in its port.
void PtyServer::stallOutput(Time now)
{
    const Time end = m_options.outputStallsAt == kNever
                         ? kNever
                         : m_options.outputStallsAt + m_options.outputStallTime;
    const bool stalls = now >= m_options.outputStallsAt && now < end;
    if (!m_pty || stalls == m_outputStalls)
        return;
    m_outputStalls = stalls;
    m_pty->holdHostOutput(stalls);
}

Time PtyServer::nextStallChange() const
{
    if (m_options.outputStallsAt == kNever)
        return kNever;
    if (m_outputStalls)
        return m_options.outputStallsAt + m_options.outputStallTime;
    return m_lastServed < m_options.outputStallsAt ? m_options.outputStallsAt : kNever;
}

void PtyServer::sleepUntil(Time next, int master, int events) const
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
