#include "sim/RunningUnit.h"

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
// Number of transmissions, the shortest of which are shorter than a sample. The kernel buffers
// fewer for a host that does not read.
constexpr std::size_t kLongestQueue = 4096;
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

RunningUnit::RunningUnit(std::unique_ptr<Unit> unit)
    : RunningUnit(std::move(unit), std::make_unique<Pty>())
{
}

RunningUnit::RunningUnit(std::unique_ptr<Unit> unit, std::unique_ptr<Pty> pty)
    : m_wake(makeWake())
    , m_unit(std::move(unit))
    , m_pty(std::move(pty))
{
    start();
}

RunningUnit::~RunningUnit()
{
    m_stop = true;
    wake();
    m_thread.join();
    removeLink();
}

void RunningUnit::start()
{
    m_epoch = std::chrono::steady_clock::now();
    m_thread = std::thread(&RunningUnit::run, this);
}

void RunningUnit::wake() const
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(m_wake.get(), &one, sizeof one);
}

// --- The cable ---------------------------------------------------------------------------------

std::string RunningUnit::path() const
{
    const std::lock_guard lock(m_mutex);
    if (!m_link.empty())
        return m_link;
    return m_pty ? m_pty->path() : std::string();
}

void RunningUnit::setLink(const std::string &path)
{
    const std::lock_guard lock(m_mutex);
    removeLink();
    m_link = path;
    makeLink();
}

void RunningUnit::setCableListener(CableListener listener)
{
    const std::lock_guard lock(m_mutex);
    m_cableListener = std::move(listener);
}

void RunningUnit::makeLink()
{
    if (m_link.empty() || !m_pty)
        return;
    std::filesystem::remove(m_link);
    std::filesystem::create_symlink(m_pty->path(), m_link);
}

void RunningUnit::removeLink()
{
    std::error_code ignored;
    if (!m_link.empty())
        std::filesystem::remove(m_link, ignored);
}

void RunningUnit::powerCycle()
{
    const std::lock_guard lock(m_mutex);
    m_unit->powerCycle(clock());
    wake();
}

void RunningUnit::unplug()
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

void RunningUnit::plugIn()
{
    const std::lock_guard lock(m_mutex);
    if (m_pty)
        return;
    putBack(clock());
    m_unit->powerCycle(clock());
    wake();
}

void RunningUnit::putBack(Time now)
{
    m_pty = std::make_unique<Pty>();
    makeLink();
    if (m_recorder)
        m_recorder->pluggedIn(now);
}

bool RunningUnit::isPluggedIn() const
{
    const std::lock_guard lock(m_mutex);
    return m_pty != nullptr;
}

bool RunningUnit::isOpenedByHost() const
{
    const std::lock_guard lock(m_mutex);
    return m_pty && m_pty->isOpenedByHost();
}

std::optional<std::uint32_t> RunningUnit::seenHostBaud() const
{
    const std::lock_guard lock(m_mutex);
    return m_pty ? m_pty->seenBaud() : std::nullopt;
}

// --- Recording and counters --------------------------------------------------------------------

void RunningUnit::setRecorder(Recorder *recorder)
{
    const std::lock_guard lock(m_mutex);
    m_recorder = recorder;
}

LineCounters RunningUnit::counters() const
{
    const std::lock_guard lock(m_mutex);
    LineCounters counters = m_counters;
    counters.skipped = m_unit->samplesSkipped();
    return counters;
}

// --- The thread --------------------------------------------------------------------------------

Time RunningUnit::clock()
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

void RunningUnit::run()
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
            letGo(now);
            serve(now);
            plugged = followCable(now);
            listener = m_cableListener;
            next = m_unit->nextEvent();
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

void RunningUnit::letGo(Time now)
{
    if (!m_pulled)
        return;
    m_pty.reset();
    m_pulled = false;
    m_released.notify_all();
    if (m_recorder)
        m_recorder->unplugged(now);
}

// Executes the cable moves that the Unit requests. A move has no effect if unplug() or plugIn() has
// already made it.
std::optional<bool> RunningUnit::followCable(Time now)
{
    if (isHeldBack())
        return std::nullopt;
    const auto move = m_unit->takeCableMove(now);
    if (move == Unit::CableMove::PullOut && m_pty) {
        removeLink();
        m_pulled = true;
        letGo(now);
        return false;
    }
    if (move == Unit::CableMove::PutBack && !m_pty) {
        putBack(now);
        return true;
    }
    return std::nullopt;
}

// Sending comes first: bytes whose transmission ends by `now` were sent before the host's bytes are
// read.
void RunningUnit::serve(Time now)
{
    speak(now);
    if (m_pty)
        hear(now);
}

void RunningUnit::hear(Time now)
{
    m_unit->advance(now);
    for (bool more = true; more;) {
        const Pty::Received received = m_pty->receive();
        const bool listens = m_pty->isOpenedByHost() && m_pty->shownBaud() == m_unit->lineBaud();
        m_unit->hostListens(listens, now);
        if (m_recorder && listens)
            m_recorder->hostListens(now);
        if (!received.bytes.empty()) {
            if (m_recorder)
                m_recorder->received(received.bytes, now);
            const std::uint32_t hostBaud = received.hostBaud.value_or(m_unit->lineBaud());
            if (hostBaud != m_unit->lineBaud())
                m_counters.hostBytesLost += received.bytes.size();
            m_unit->receive(received.bytes, hostBaud, now);
        }
        more = received.mayHaveMore;
    }
    countUnread();
}

void RunningUnit::speak(Time now)
{
    while (!isHeldBack()) {
        const auto transmission = m_unit->transmit(now);
        if (!transmission)
            return;
        if (m_pty) {
            const Pty::Fate fate = m_pty->send(transmission->bytes, transmission->baud);
            countUnread();
            count(fate, *transmission);
            if (m_recorder)
                m_recorder->sent(*transmission, fate == Pty::Fate::Arrived);
        }
    }
}

bool RunningUnit::isHeldBack() const
{
    return m_pty && m_unit->waitsForHost() && m_pty->hasUnread();
}

void RunningUnit::count(Pty::Fate fate, const Transmission &transmission)
{
    switch (fate) {
    case Pty::Fate::Arrived:
        m_counters.sent += transmission.packets;
        m_counters.samples += transmission.samples;
        m_counters.bytesSent += transmission.bytes.size();
        m_arrivals.push_back({transmission.bytes.size(), transmission.samples});
        if (m_arrivals.size() > kLongestQueue)
            m_arrivals.pop_front();
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

// The unread bytes are the last ones that have arrived.
void RunningUnit::countUnread()
{
    for (std::size_t left = m_pty->takeUnread(); left > 0 && !m_arrivals.empty();) {
        m_counters.unread += m_arrivals.back().samples;
        left -= std::min(left, m_arrivals.back().bytes);
        m_arrivals.pop_back();
    }
}

void RunningUnit::sleepUntil(Time next, int master, int events) const
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
