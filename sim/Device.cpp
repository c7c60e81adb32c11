// Time-dependent part of Device: samples, changes of the baud rate, power. DeviceCommands.cpp holds
// the command handling.

#include "sim/Device.h"

#include <algorithm>
#include <array>
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

} // namespace

Device::Device(DeviceOptions options)
    : m_options(std::move(options))
    , m_sensors(m_options.motion, m_options.seed)
    , m_lineNoise(m_options.seed + kLineNoiseSeed)
    , m_memory{m_options.settings, m_options.settings}
    , m_transmitter(speedFor(m_options.settings.baud))
{
    scheduleSamples(m_awakeAt);
}

std::uint32_t Device::speedFor(std::uint32_t baud) const
{
    const bool listed =
        std::find(kLineSpeeds.begin(), kLineSpeeds.end(), baud) != kLineSpeeds.end();
    return listed ? baud : m_options.fallbackBaud;
}

void Device::setMemory(const Memory &memory)
{
    m_memory = memory;
    m_baudChange.reset();
    m_transmitter.setBaud(speedFor(m_memory.working.baud));
    scheduleSamples(std::max(m_now, m_awakeAt));
}

void Device::setSettings(const Settings &working)
{
    setMemory({working, m_memory.stored});
}

void Device::powerCycle(Time now)
{
    advance(now);
    m_memory.powerUp();
    m_parser.reset();
    m_transmitter.clear(now);
    m_transmitter.setBaud(speedFor(m_memory.working.baud));
    m_baudChange.reset();
    m_lateReplies.clear();
    m_heldReplies.clear();
    m_heldCount = 0;
    m_collecting = false;
    m_awakeAt = now + m_options.startUp;
    scheduleSamples(m_awakeAt);
}

// --- Line --------------------------------------------------------------------------------------

void Device::receive(Bytes bytes, std::uint32_t hostBaud, Time now)
{
    advance(now);
    if (!isAwake(now) || hostBaud != lineBaud())
        return;
    m_parser.feed(bytes, now, [this](Bytes packet) {
        m_received.emplace_back(packet.begin(), packet.end());
        handle(packet);
    });
}

std::optional<Transmission> Device::transmit(Time now)
{
    advance(now);
    return m_transmitter.take(now);
}

// --- Time --------------------------------------------------------------------------------------

Time Device::nextStep() const
{
    Time next = m_nextSample;
    if (m_baudChange)
        next = std::min(next, m_baudChange->due);
    if (m_collecting)
        next = std::min(next, m_nextPoint);
    for (const PendingReply &reply : m_lateReplies)
        next = std::min(next, reply.due);
    return next;
}

Time Device::nextEvent() const
{
    return std::min(nextStep(), m_transmitter.nextDone());
}

void Device::advance(Time now)
{
    for (Time next = nextStep(); next <= now; next = nextStep()) {
        m_now = std::max(m_now, next);
        step(next);
    }
    m_now = std::max(m_now, now);
}

// Executes one of the actions due at `at`.
void Device::step(Time at)
{
    const auto late = std::find_if(m_lateReplies.begin(), m_lateReplies.end(),
                                   [at](const PendingReply &reply) { return reply.due <= at; });
    if (late != m_lateReplies.end()) {
        const Payload payload = std::move(late->payload);
        m_lateReplies.erase(late);
        sendReply(payload, at);
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

void Device::scheduleSamples(Time after)
{
    const auto rate = m_memory.working.rateHz;
    m_nextSample = rate == 0 ? kNever : after + Time(std::chrono::seconds(1)) / rate;
}

void Device::takeSample(Time at)
{
    scheduleSamples(at);
    const std::uint16_t outputs = m_memory.working.outputs;
    // The device sends no data while its baud rate changes.
    if (m_baudChange || m_options.faults.silent)
        return;
    const Time period = m_nextSample - at;
    const bool sync = at % kSyncInterval < period;
    const Payload payload = dataPayload(m_sensors.sample(at, m_memory.working), outputs, sync, at);
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

void Device::collectPoint(Time at)
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
void Device::scheduleBaudChange()
{
    Time answered = m_now;
    for (const PendingReply &reply : m_lateReplies)
        answered = std::max(answered, reply.due);
    m_baudChange = {answered, speedFor(m_memory.working.baud), true};
}

void Device::continueBaudChange(Time at)
{
    if (m_baudChange->answering) {
        sendHeldReplies(at);
        m_baudChange->answering = false;
        m_baudChange->due = m_transmitter.idleAt(at) + m_options.faults.baudChangeDelay;
        return;
    }
    m_transmitter.setBaud(m_baudChange->baud);
    m_baudChange.reset();
}

void Device::sendHeldReplies(Time at)
{
    if (m_heldCount > 0)
        sendPacket(std::exchange(m_heldReplies, {}), std::exchange(m_heldCount, 0), at);
}

} // namespace sim
