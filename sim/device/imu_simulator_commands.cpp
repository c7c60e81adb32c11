// Command handling: replies, and the faults applied to them.

#include "sim/device/imu_simulator.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace protocol;
using namespace std::chrono_literals;

namespace sim {

namespace {

constexpr std::array<std::uint32_t, 6> kBaudChoices{57600, 115200, 230400, 460800, 921600, 1000000};
constexpr std::array<std::uint16_t, 6> kRateChoices{50, 100, 200, 400, 500, 1000};
constexpr Time kBreak = 20ms;

template <typename T>
void append(std::vector<unsigned char> &payload, const T &value)
{
    const std::size_t end = payload.size();
    payload.resize(end + sizeof value);
    writeField(payload.data() + end, value);
}

template <typename T, std::size_t N>
bool isOneOf(T value, const std::array<T, N> &choices)
{
    return std::find(choices.begin(), choices.end(), value) != choices.end();
}

// The code that identifies a command in Faults.
unsigned char faultCode(Bytes payload)
{
    return payload[0] == SET && payload.size() > 1 ? payload[1] : payload[0];
}

std::size_t parameterSize(unsigned char parameter)
{
    switch (parameter) {
    case DATA_RATE:
    case OUTPUTS:
        return 2;
    case BAUD_RATE:
    case ZERO_THRESHOLD:
        return 4;
    case MAG_CALIBRATION:
        return 48;
    default:
        return 0;
    }
}

} // namespace

// --- Commands ----------------------------------------------------------------------------------

void ImuSimulator::handle(Bytes packet)
{
    const Bytes payload = packet.subspan(kHeaderSize, packet.size() - kFrameSize);
    // The device drops commands while its baud rate changes and while it writes its flash.
    if (payload.empty() || m_baudChange || m_flashWrite)
        return;
    const unsigned char code = faultCode(payload);
    if (const auto ignored = m_options.faults.ignoreFirst.find(code);
        ignored != m_options.faults.ignoreFirst.end() && ignored->second > 0) {
        --ignored->second;
        return;
    }
    const bool refused = isRefused(payload);
    if (refused || !startFlashWrite(payload))
        execute(payload, refused);
}

// SAVE_SETTINGS and FACTORY_RESET carry the outputs that the host holds.
bool ImuSimulator::isRefused(Bytes payload)
{
    const bool savesSettings = payload[0] == SAVE_SETTINGS || payload[0] == FACTORY_RESET;
    if (m_options.checksHostOutputs && savesSettings &&
        (payload.size() < 3 ||
         readField<std::uint16_t>(payload.data() + 1) != m_memory.active.outputs)) {
        ++m_counters.outputsDiffered;
        return true;
    }
    return m_options.faults.refuse.count(faultCode(payload)) != 0;
}

void ImuSimulator::execute(Bytes payload, bool refused)
{
    const std::uint32_t baud = m_memory.active.baud;
    Payload reply = perform(payload, refused);
    if (!reply.empty())
        answer(faultCode(payload), std::move(reply));
    if (m_memory.active.baud != baud)
        scheduleBaudChange();
}

// Delays a command that writes the flash until the write has ended. False if it takes no time.
bool ImuSimulator::startFlashWrite(Bytes payload)
{
    const bool savesSettings = payload[0] == SAVE_SETTINGS || payload[0] == FACTORY_RESET;
    const bool setsCalibration = payload[0] == SET && faultCode(payload) == MAG_CALIBRATION;
    const bool storesPoints = payload[0] == STOP_CALIBRATION && m_collecting;
    if (!savesSettings && !setsCalibration && !storesPoints)
        return false;
    int &powerLosses = m_options.faults.powerLossesWhileSaving;
    const bool powerFails = savesSettings && powerLosses > 0;
    Time duration = drawTime(m_options.flashTime);
    if (powerFails) {
        --powerLosses;
        duration /= 2;
    } else if (duration == Time(0)) {
        return false;
    }
    m_flashWrite = {m_now + duration, {payload.begin(), payload.end()}, powerFails};
    return true;
}

// The stored settings change in one step, so a power failure leaves the earlier ones whole.
void ImuSimulator::endFlashWrite(Time at)
{
    const FlashWrite write = std::move(*m_flashWrite);
    m_flashWrite.reset();
    if (write.powerFails)
        restart(at);
    else
        execute(write.command, false);
}

ImuSimulator::Payload ImuSimulator::perform(Bytes payload, bool refused)
{
    switch (payload[0]) {
    case SET:
        return set(payload, refused);
    case GET:
        return refused ? Payload{} : get(payload);
    case SAVE_SETTINGS:
    case FACTORY_RESET:
    case START_CALIBRATION:
    case STOP_CALIBRATION:
        return status(payload[0], refused);
    case CALIBRATION_DATA_SIZE:
        return calibrationSize(refused);
    case CALIBRATION_DATA:
        return calibrationData(payload, refused);
    default:
        return {};
    }
}

// The echo is the working value after the command. For a rejected value that is the previous one.
ImuSimulator::Payload ImuSimulator::set(Bytes payload, bool refused)
{
    const unsigned char parameter = payload.size() > 1 ? payload[1] : kBlockCodeCount;
    const std::size_t size = parameterSize(parameter);
    if (size == 0 || payload.size() < 2 + size)
        return {};
    if (!refused)
        store(parameter, payload.subspan(2, size));
    Payload echo;
    appendParameter(echo, parameter);
    return echo;
}

bool ImuSimulator::store(unsigned char parameter, Bytes value)
{
    DeviceSettings &working = m_memory.active;
    switch (parameter) {
    case DATA_RATE: {
        const auto rate = readField<std::uint16_t>(value.data());
        if (!isOneOf(rate, kRateChoices))
            return false;
        working.rateHz = rate;
        scheduleSamples(m_now);
        return true;
    }
    case BAUD_RATE: {
        const auto baud = readField<std::uint32_t>(value.data());
        if (!isOneOf(baud, kBaudChoices))
            return false;
        working.baud = baud;
        return true;
    }
    case OUTPUTS:
        working.outputs = readField<std::uint16_t>(value.data());
        return true;
    case ZERO_THRESHOLD:
        working.zeroThreshold = readField<float>(value.data());
        return true;
    case MAG_CALIBRATION:
        std::memcpy(working.magnetic.bias.data(), value.data(), sizeof working.magnetic.bias);
        std::memcpy(working.magnetic.matrix.data(), value.data() + sizeof working.magnetic.bias,
                    sizeof working.magnetic.matrix);
        return true;
    default:
        return false;
    }
}

ImuSimulator::Payload ImuSimulator::get(Bytes payload) const
{
    Payload answer;
    for (const unsigned char parameter : payload.subspan(1)) {
        const std::size_t size = answer.size();
        appendParameter(answer, parameter);
        // A host drops a longer packet completely.
        if (answer.size() > kMaxPacketSize - kFrameSize) {
            answer.resize(size);
            break;
        }
    }
    return answer;
}

void ImuSimulator::appendParameter(Payload &answer, unsigned char parameter) const
{
    const DeviceSettings &working = m_memory.active;
    const auto add = [&](const auto &...values) {
        answer.push_back(parameter);
        (append(answer, values), ...);
    };
    switch (parameter) {
    case BAUD_RATE:
        return add(working.baud);
    case DATA_RATE:
        return add(working.rateHz);
    case OUTPUTS:
        return add(working.outputs);
    case VERSIONS:
        return add(m_options.firmwareVersion, m_options.hardwareVersion);
    case SERIAL_NUMBER:
        return add(m_options.serialNumber);
    case ZERO_THRESHOLD:
        return add(working.zeroThreshold);
    case MAG_CALIBRATION:
        return add(working.magnetic.bias, working.magnetic.matrix);
    default:
        return;
    }
}

ImuSimulator::Payload ImuSimulator::status(unsigned char code, bool refused)
{
    if (refused)
        return {code, 0};
    switch (code) {
    case SAVE_SETTINGS:
        m_memory.save();
        break;
    case FACTORY_RESET:
        m_memory.storeFactorySettings();
        break;
    case START_CALIBRATION:
        m_points.clear();
        m_collecting = true;
        m_nextPoint = m_now;
        break;
    case STOP_CALIBRATION:
        if (m_collecting)
            m_calibrationStore.setPoints(m_points);
        m_collecting = false;
        break;
    }
    return {code, 1};
}

ImuSimulator::Payload ImuSimulator::calibrationSize(bool refused)
{
    Payload answer{CALIBRATION_DATA_SIZE};
    append(answer, refused ? 0U : m_calibrationStore.size());
    if (const auto changed = std::exchange(m_options.faults.calibrationSizeAfterQuery, {}))
        m_calibrationStore.resize(*changed);
    return answer;
}

ImuSimulator::Payload ImuSimulator::calibrationData(Bytes payload, bool refused) const
{
    if (payload.size() < 9)
        return {};
    Payload answer{CALIBRATION_DATA};
    if (refused)
        return answer;
    const auto block = m_calibrationStore.block(readField<std::uint32_t>(payload.data() + 1),
                                                readField<std::uint32_t>(payload.data() + 5));
    answer.insert(answer.end(), block.begin(), block.end());
    return answer;
}

// --- Answers -----------------------------------------------------------------------------------

void ImuSimulator::answer(unsigned char code, Payload payload)
{
    const Faults &faults = m_options.faults;
    if (faults.silent || faults.noReply.count(code) != 0)
        return;
    if (const auto other = faults.replyPayload.find(code); other != faults.replyPayload.end())
        payload = other->second;
    if (faults.wrongEcho.count(code) != 0 && payload.size() > 1)
        payload[1] ^= 1;
    if (const auto late = faults.lateReply.find(code); late != faults.lateReply.end())
        m_lateReplies.push_back({m_now + late->second, std::move(payload)});
    else
        sendReply(payload, m_now);
}

void ImuSimulator::sendReply(const Payload &payload, Time at)
{
    if (m_options.faults.replyShape != ReplyShape::Split || payload.empty()) {
        sendReplyPacket(payload, at);
        return;
    }
    for (std::size_t i = 0; i < payload.size();) {
        const std::size_t value =
            payload[i] == VERSIONS || payload[i] == SERIAL_NUMBER ? 4 : parameterSize(payload[i]);
        // Any other code, such as calibration data, takes the rest of the payload as one block.
        const std::size_t size =
            value == 0 ? payload.size() - i : std::min(1 + value, payload.size() - i);
        const auto begin = payload.begin() + static_cast<std::ptrdiff_t>(i);
        sendReplyPacket(Payload(begin, begin + static_cast<std::ptrdiff_t>(size)), at);
        i += size;
    }
}

void ImuSimulator::sendReplyPacket(const Payload &payload, Time at)
{
    ++m_counters.repliesSent;
    std::vector<unsigned char> packet = packed(kReplyType, payload);
    switch (m_options.faults.replyShape) {
    case ReplyShape::Whole:
    case ReplyShape::Split:
        sendPacket(std::move(packet), 1, at);
        return;
    case ReplyShape::Broken: {
        const auto middle = packet.begin() + static_cast<std::ptrdiff_t>(packet.size() / 2);
        sendPacket({packet.begin(), middle}, 0, at);
        sendPacket({middle, packet.end()}, 1, m_transmitter.idleAt(at) + kBreak);
        return;
    }
    case ReplyShape::Joined:
        m_heldReplies.insert(m_heldReplies.end(), packet.begin(), packet.end());
        ++m_heldCount;
        if (m_memory.active.outputs == 0 || m_memory.active.rateHz == 0)
            sendHeldReplies(at); // no data packet follows
        return;
    }
}

void ImuSimulator::sendPacket(std::vector<unsigned char> packet, unsigned packets, Time at,
                              unsigned samples)
{
    damage(packet);
    m_transmitter.send(std::move(packet), packets, at, samples);
}

std::vector<unsigned char> ImuSimulator::packed(unsigned char type, Bytes payload)
{
    std::vector<unsigned char> packet(payload.size() + kFrameSize);
    preparePacket(type, payload, packet.data());
    ++m_packetCount;
    const int every = m_options.faults.corruptEvery;
    if (every > 0 && m_packetCount % static_cast<unsigned>(every) == 0)
        ++packet[packet.size() - kChecksumSize];
    return packet;
}

void ImuSimulator::damage(std::vector<unsigned char> &bytes)
{
    const Faults &faults = m_options.faults;
    m_bitErrors.apply(bytes, faults.bitErrors);
    std::vector<unsigned char> noise(static_cast<std::size_t>(std::max(faults.noiseBytes, 0)));
    for (unsigned char &byte : noise)
        byte = static_cast<unsigned char>(m_lineNoise.bits(0, m_noiseTick++));
    bytes.insert(bytes.begin(), noise.begin(), noise.end());
    if (faults.byteLoss > 0) {
        std::erase_if(bytes, [&](unsigned char) {
            return m_lineNoise.uniform(1, m_noiseTick++) < faults.byteLoss;
        });
    }
}

} // namespace sim
