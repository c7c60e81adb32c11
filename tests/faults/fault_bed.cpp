#include "tests/faults/fault_bed.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

#include <boost/make_shared.hpp>

using namespace std::chrono_literals;

namespace faults {

namespace {

// The bytes that the device sends in this time fit into the line.
constexpr milliseconds kStep = 200ms;
constexpr std::size_t kLineRoom = 1024;
// After a sleep of at least this length the driver may look for any new value, so the reader must
// have decoded all of it.
constexpr milliseconds kLongSleep = 100ms;
// A reply that is split, or joined with a sample, has arrived completely after this time.
constexpr milliseconds kReplyTime = 50ms;
// Polling interval for the reader's progress, in real time.
constexpr auto kGlance = 20us;
// A thread that sleeps in so many checks in a row, 1 ms apart, outside the bed waits in a write.
constexpr int kBlockedChecks = 20;

// Returns true if a thread of this process sleeps (state S).
bool isWaiting(int thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string stat;
    std::getline(file, stat);
    const std::size_t name = stat.rfind(')');
    return name != std::string::npos && stat.compare(name, 3, ") S") == 0;
}

unsigned char codeOf(protocol::Bytes packet)
{
    const unsigned char code = packet[protocol::kHeaderSize];
    return code == protocol::SET ? packet[protocol::kHeaderSize + 1] : code;
}

} // namespace

FaultBed::FaultBed()
    : m_driver(startedDriver(*this))
    , m_path(m_directory.filePath(QStringLiteral("port")).toStdString())
    , m_thread(::gettid())
{
}

boost::shared_ptr<imu> FaultBed::startedDriver(FaultBed &self)
{
    auto driver = boost::make_shared<imu>(nullptr);
    driver->setSleeper([&self](milliseconds duration) { self.sleep(duration); });
    QObject::connect(
        driver.get(), &imu::quaternionUpdated, driver.get(),
        [&self] {
            self.m_readerThread = ::gettid();
            ++self.m_samples;
        },
        Qt::DirectConnection);
    driver->start();
    return driver;
}

void FaultBed::replaceDriver()
{
    static std::vector<boost::shared_ptr<imu>> retired;
    m_driver->disconnect();
    m_driver->stop();
    m_driver->connect(m_rest.path(), static_cast<int>(kBaud), 8, 0, 1);
    retired.push_back(std::exchange(m_driver, startedDriver(*this)));
    m_readerThread = 0;
}

// --- The cable ---------------------------------------------------------------------------------

void FaultBed::plugInNewDevice()
{
    m_driver->disconnect();
    m_path = m_directory.filePath(QStringLiteral("port")).toStdString();
    sim::DeviceOptions options;
    options.settings.baud = kBaud;
    options.settings.rateHz = 50;
    options.settings.outputs = protocol::OUT_QUATERNION;
    m_device = std::make_unique<sim::ImuSimulator>(options);
    m_now = 0ms;
    m_replies = 0;
    m_lastReply = -kReplyTime;
    m_delivery = {};
    m_wasUnplugged = false;
    layCable();
    observe(0);
}

void FaultBed::connectToNewDevice()
{
    plugInNewDevice();
    connect(kBaud);
    passUntil(1s, [this] { return m_readerThread != 0; });
}

void FaultBed::connect(std::uint32_t baud)
{
    m_hostBaud = baud;
    m_driver->connect(m_path, static_cast<int>(baud), 8, 0, 1);
    const std::lock_guard inside(m_inside);
    receivePending();
}

void FaultBed::layCable()
{
    std::filesystem::remove(m_path);
    m_pty = std::make_unique<sim::Pty>();
    std::filesystem::create_symlink(m_pty->path(), m_path);
}

void FaultBed::unplug()
{
    endStall();
    pullCable();
}

void FaultBed::pullCable()
{
    std::filesystem::remove(m_path);
    m_pty.reset();
    m_delivery.unplug();
    m_device->powerCycle(m_now);
    m_spoke = false;
    m_wasUnplugged = true;
}

void FaultBed::plugIn(Path path)
{
    if (path == Path::Other)
        m_path += "+";
    layCable();
    m_device->powerCycle(m_now);
}

void FaultBed::stallOutput(milliseconds time)
{
    m_pty->holdHostOutput(true);
    m_stallWatcher =
        std::jthread([this, time](const std::stop_token &stop) { watchStall(stop, time); });
}

void FaultBed::endStall()
{
    if (!m_stallWatcher.joinable())
        return;
    m_stallWatcher = {};
    if (m_pty)
        m_pty->holdHostOutput(false);
}

void FaultBed::watchStall(const std::stop_token &stop, milliseconds time)
{
    for (int waits = 0; !stop.stop_requested();) {
        std::this_thread::sleep_for(1ms);
        const std::unique_lock inside(m_inside, std::try_to_lock);
        waits = inside && isWaiting(m_thread) ? waits + 1 : 0;
        if (waits < kBlockedChecks)
            continue;
        m_hasStalled = true;
        m_stallTime = time;
        if (m_unplugsInStall)
            pullCable();
        else if (m_pty)
            m_pty->holdHostOutput(false);
        return;
    }
}

// The device continues to send meanwhile. The bytes of the host arrive only afterwards.
void FaultBed::passStallTime()
{
    for (milliseconds left = std::exchange(m_stallTime, 0ms); left > 0ms; left -= kStep) {
        m_now += kStep;
        transmitDue();
        awaitReader();
    }
}

// --- Time --------------------------------------------------------------------------------------

void FaultBed::observe(unsigned char code)
{
    m_counter.reset();
    m_code = code;
    m_commands = 0;
    m_commandLimit = std::numeric_limits<int>::max();
    m_slept = 0ms;
    m_hasStalled = false;
    m_unplugsInStall = false;
    m_action = nullptr;
    m_beforeCommand = nullptr;
    m_afterCommand = nullptr;
}

void FaultBed::at(milliseconds time, std::function<void()> action)
{
    m_due = time;
    m_action = std::move(action);
}

void FaultBed::sleep(milliseconds duration)
{
    const std::lock_guard inside(m_inside);
    passStallTime();
    advance(duration);
    // Other sleeps do not wait for the reader: waiting for every sample would limit the run to the
    // machine's speed.
    if (mayHaveReplied() || duration >= kLongSleep)
        awaitReader();
    if (m_commands > m_commandLimit)
        throw Stuck();
}

void FaultBed::pass(milliseconds duration)
{
    const std::lock_guard inside(m_inside);
    passStallTime();
    advance(duration);
    awaitReader();
}

bool FaultBed::passUntil(milliseconds duration, const std::function<bool()> &condition)
{
    for (milliseconds passed = 0ms; passed < duration; passed += 5ms) {
        if (condition())
            return true;
        pass(5ms);
    }
    return false;
}

void FaultBed::advance(milliseconds duration)
{
    for (milliseconds left = duration; left > 0ms;) {
        const milliseconds now = std::min(left, kStep);
        step(now);
        left -= now;
        if (left > 0ms || (m_spoke && m_pty->unreadByHost() > kLineRoom))
            awaitReader();
    }
}

void FaultBed::step(milliseconds duration)
{
    if (m_action && m_slept >= m_due)
        std::exchange(m_action, nullptr)();
    m_slept += duration;
    if (m_pty)
        receivePending();
    m_now += duration;
    transmitDue();
}

// --- The device --------------------------------------------------------------------------------

// If the line does not report the host's baud rate, the baud rate of connect() is correct: the
// driver sends nothing at another baud rate before it has received the device there.
void FaultBed::receivePending()
{
    for (bool more = true; more && m_pty;) {
        const sim::Pty::Received received = m_pty->receive();
        more = received.mayHaveMore;
        if (!received.bytes.empty())
            hearBytes(received.bytes, received.hostBaud.value_or(m_hostBaud));
    }
}

void FaultBed::hearBytes(protocol::Bytes bytes, std::uint32_t hostBaud)
{
    int count = 0;
    m_counter.feed(bytes, m_now,
                   [&](protocol::Bytes packet) { count += codeOf(packet) == m_code; });
    m_commands += count;
    if (count > 0 && m_beforeCommand)
        m_beforeCommand();
    if (!m_pty)
        return;
    m_device->receive(bytes, hostBaud, m_now);
    if (count > 0 && m_afterCommand)
        m_afterCommand();
}

void FaultBed::transmitDue()
{
    while (auto transmission = m_device->transmit(m_now)) {
        if (m_pty) {
            m_delivery.accept(std::move(*transmission), *m_pty, nullptr);
            m_delivery.deliverDue(m_now, *m_pty, nullptr);
            m_spoke = true;
        }
    }
}

bool FaultBed::mayHaveReplied()
{
    const std::uint64_t replies = m_device->counters().repliesSent;
    if (std::exchange(m_replies, replies) != replies)
        m_lastReply = m_now;
    return m_now - m_lastReply < kReplyTime;
}

// When no bytes are left and the reader thread sleeps, it has decoded everything.
void FaultBed::awaitReader()
{
    if (!std::exchange(m_spoke, false) || !m_pty->isOpenedByHost())
        return;
    while (m_pty->unreadByHost() > 0)
        std::this_thread::sleep_for(kGlance);
    while (m_readerThread != 0 && !isWaiting(m_readerThread))
        std::this_thread::sleep_for(kGlance);
}

} // namespace faults
