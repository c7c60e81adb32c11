// Time-dependent part: samples, changes of the baud rate, power. imu_simulator_commands.cpp holds
// the command handling.

#include "sim/device/imu_simulator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

using namespace protocol;
using namespace std::chrono_literals;

namespace sim {

namespace {

constexpr std::array<std::uint32_t, 6> kLineSpeeds{57600, 115200, 230400, 460800, 921600, 1000000};
constexpr Time kPointInterval = 100ms;
// Minimum distance of consecutive points in microtesla. Without it a device at rest would fill its
// memory with one point.
constexpr double kPointDistance = 2.0;
constexpr Time kSyncInterval = 1s;
constexpr std::uint32_t kLineNoiseSeed = 77;
constexpr std::uint32_t kBitErrorSeed = 78;
constexpr std::uint32_t kTimeChannel = 2; // of the line noise

} // namespace

ImuSimulator::ImuSimulator(DeviceOptions options)
    : m_options(std::move(options))
    , m_sensors(m_options.motion, m_options.seed, m_options.sensors)
    , m_lineNoise(m_options.seed + kLineNoiseSeed)
    , m_bitErrors(m_options.seed + kBitErrorSeed)
    , m_memory{m_options.settings, m_options.settings}
    , m_transmitter(lineBaudFor(m_options.settings.baud))
{
    scheduleSamples(m_awakeAt);
}

std::uint32_t ImuSimulator::lineBaudFor(std::uint32_t baud) const
{
    const bool listed =
        std::find(kLineSpeeds.begin(), kLineSpeeds.end(), baud) != kLineSpeeds.end();
    if (listed)
        return baud;
    return m_options.fallbackBaud > 0 ? m_options.fallbackBaud : std::max(baud, 1U);
}

void ImuSimulator::setMemory(const DeviceMemory &memory)
{
    m_memory = memory;
    m_baudChange.reset();
    m_transmitter.setBaud(lineBaudFor(m_memory.active.baud));
    scheduleSamples(std::max(m_now, m_awakeAt));
}

void ImuSimulator::setSettings(const DeviceSettings &working)
{
    setMemory({working, m_memory.flash});
}

void ImuSimulator::powerCycle(Time now)
{
    advance(now);
    restart(now);
}

void ImuSimulator::restart(Time at)
{
    m_memory.powerUp();
    m_parser.reset();
    m_transmitter.clear(at);
    m_transmitter.setBaud(lineBaudFor(m_memory.active.baud));
    m_baudChange.reset();
    m_flashWrite.reset();
    m_lateReplies.clear();
    m_heldReplies.clear();
    m_heldCount = 0;
    m_collecting = false;
    m_awakeAt = at + m_options.startUp;
    scheduleSamples(m_awakeAt);
}

// --- Line --------------------------------------------------------------------------------------

void ImuSimulator::receive(Bytes bytes, std::uint32_t hostBaud, Time now)
{
    advance(now);
    if (!isAwake(now) || hostBaud != lineBaud())
        return;
    std::vector<unsigned char> arrived(bytes.begin(), bytes.end());
    m_bitErrors.apply(arrived, m_options.faults.bitErrors);
    m_parser.feed(arrived, now, [this](Bytes packet) {
        m_received.emplace_back(packet.begin(), packet.end());
        handle(packet);
    });
}

std::optional<Transmission> ImuSimulator::transmit(Time now)
{
    advance(now);
    return m_transmitter.take(now);
}

// --- Time --------------------------------------------------------------------------------------

Time ImuSimulator::nextStep() const
{
    Time next = m_nextSample;
    if (m_baudChange)
        next = std::min(next, m_baudChange->due);
    if (m_flashWrite)
        next = std::min(next, m_flashWrite->due);
    if (m_collecting)
        next = std::min(next, m_nextPoint);
    for (const PendingReply &reply : m_lateReplies)
        next = std::min(next, reply.due);
    return next;
}

Time ImuSimulator::nextEvent() const
{
    return std::min(nextStep(), m_transmitter.nextDone());
}

void ImuSimulator::advance(Time now)
{
    for (Time next = nextStep(); next <= now; next = nextStep()) {
        m_now = std::max(m_now, next);
        step(next);
    }
    m_now = std::max(m_now, now);
}

// Executes one of the actions due at `at`.
void ImuSimulator::step(Time at)
{
    const auto late = std::find_if(m_lateReplies.begin(), m_lateReplies.end(),
                                   [at](const PendingReply &reply) { return reply.due <= at; });
    if (late != m_lateReplies.end()) {
        const Payload payload = std::move(late->payload);
        m_lateReplies.erase(late);
        sendReply(payload, at);
        return;
    }
    if (m_flashWrite && m_flashWrite->due <= at) {
        endFlashWrite(at);
        return;
    }
    if (m_baudChange && m_baudChange->due <= at) {
        continueBaudChange(at);
        return;
    }
    if (m_collecting && m_nextPoint <= at) {
        collectPoint(at);
        return;
    }
    takeSample(at);
}

void ImuSimulator::scheduleSamples(Time after)
{
    const auto rate = m_memory.active.rateHz;
    if (rate == 0) {
        m_nextSample = kNever;
        return;
    }
    const double period = 1e9 / rate / (1 + m_options.clockDriftPpm * 1e-6);
    m_nextSample = after + Time(std::llround(period));
}

// The time on the clock of the device.
Time ImuSimulator::deviceClock(Time at) const
{
    const auto drift = static_cast<double>(at.count()) * m_options.clockDriftPpm * 1e-6;
    return at + Time(std::llround(drift));
}

Time ImuSimulator::drawTime(const TimeRange &range)
{
    const auto width = static_cast<double>(Time(range.most - range.least).count());
    return range.least +
           Time(std::llround(width * m_lineNoise.uniform(kTimeChannel, m_drawnTimes++)));
}

void ImuSimulator::takeSample(Time at)
{
    scheduleSamples(at);
    const std::uint16_t outputs = m_memory.active.outputs;
    // The device sends no data while its baud rate changes.
    if (m_baudChange || m_options.faults.silent)
        return;
    if (m_flashWrite) {
        if (m_options.staleSamplesDuringFlash)
            sendSample(m_lastSample, at);
        return;
    }
    const Time period = m_nextSample - at;
    const Time clock = deviceClock(at);
    const bool sync = clock % kSyncInterval < period;
    m_lastSample = dataPayload(m_sensors.sample(at, m_memory.active), outputs, sync, clock);
    sendSample(m_lastSample, at);
}

void ImuSimulator::sendSample(const Payload &payload, Time at)
{
    if (payload.empty())
        return;
    if (!m_transmitter.hasRoom(payload.size() + kFrameSize, at)) {
        ++m_counters.samplesSkipped;
        return;
    }
    ++m_counters.samplesSent;
    std::vector<unsigned char> bytes = std::exchange(m_heldReplies, {});
    const unsigned packets = std::exchange(m_heldCount, 0) + 1;
    const std::vector<unsigned char> packet = packed(kDataType, payload);
    bytes.insert(bytes.end(), packet.begin(), packet.end());
    sendPacket(std::move(bytes), packets, at, 1);
}

void ImuSimulator::collectPoint(Time at)
{
    m_nextPoint = at + kPointInterval;
    const Eigen::Vector3d field = m_sensors.rawField(at);
    const Eigen::Vector3f point = field.cast<float>();
    if (!m_points.empty()) {
        const Eigen::Map<const Eigen::Vector3f> last(m_points.back().data());
        if ((point - last).norm() < kPointDistance)
            return;
    }
    if (m_points.size() < CalibrationStore::kMaxPages * CalibrationStore::kPointsPerPage)
        m_points.push_back({point.x(), point.y(), point.z()});
}

// The reply still goes out at the old baud rate.
void ImuSimulator::scheduleBaudChange()
{
    Time answered = m_now;
    for (const PendingReply &reply : m_lateReplies)
        answered = std::max(answered, reply.due);
    m_baudChange = {answered, lineBaudFor(m_memory.active.baud), true};
}

void ImuSimulator::continueBaudChange(Time at)
{
    if (m_baudChange->answering) {
        sendHeldReplies(at);
        m_baudChange->answering = false;
        m_baudChange->due = m_transmitter.idleAt(at) + m_options.faults.baudChangeDelay +
                            drawTime(m_options.baudChangeTime);
        return;
    }
    m_transmitter.setBaud(m_baudChange->baud);
    m_baudChange.reset();
}

void ImuSimulator::sendHeldReplies(Time at)
{
    if (m_heldCount > 0)
        sendPacket(std::exchange(m_heldReplies, {}), std::exchange(m_heldCount, 0), at);
}

} // namespace sim
