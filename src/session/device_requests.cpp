// Commands and the replies that confirm them.

#include "session/device.h"

#include <algorithm>
#include <array>

#include "session/device_state.h"
#include "session/error.h"

namespace session {

using namespace std::chrono_literals;
using namespace protocol;
using Judge = DeviceState::Judge;
using Verdict = DeviceState::Verdict;

namespace {

constexpr std::array kSettingsCodes{BAUD_RATE, DATA_RATE, OUTPUTS, VERSIONS, SERIAL_NUMBER};

// How often a change of the baud rate is repeated if the device still answers at the old one.
constexpr int kBaudChanges = 3;
// The reply to the change, at the old baud rate.
constexpr auto kBaudReply = 300ms;
// A device may be silent for a while before it uses the new baud rate.
constexpr RetryPolicy kAfterBaudChange{.perAttempt = 300ms, .attempts = 8};

Judge replyWith(SampleStore &store, BlockCode code, const std::function<bool()> &isWanted)
{
    return [&store, code, isWanted](Receiver::Bytes) {
        if (!store.fresh.testAndClear(code))
            return Verdict::Waiting;
        return isWanted() ? Verdict::Confirmed : Verdict::Refused;
    };
}

// A reply of one status byte. The decoder sets its flag only if the status is 1.
Judge statusReply(SampleStore &store, BlockCode code)
{
    return [&store, code](Receiver::Bytes reply) {
        if (store.fresh.testAndClear(code))
            return Verdict::Confirmed;
        const bool isStatus = reply.size() > kFrameSize && reply[kHeaderSize] == code;
        return isStatus ? Verdict::Refused : Verdict::Waiting;
    };
}

bool allSettingsArrived(const SampleStore &store)
{
    return std::all_of(kSettingsCodes.begin(), kSettingsCodes.end(),
                       [&store](BlockCode code) { return store.fresh.test(code); });
}

} // namespace

Result<Settings> DeviceState::readSettings(const RetryPolicy &allowed)
{
    SampleStore &store = receiver.store();
    for (const BlockCode code : kSettingsCodes)
        store.fresh.clear(code);
    const auto error = request(
        commands.getSettings(),
        [&store](Receiver::Bytes) {
            return allSettingsArrived(store) ? Verdict::Confirmed : Verdict::Waiting;
        },
        allowed);
    if (error)
        return error;
    settings = Settings{.baud = store.baudRate,
                        .rateHz = store.dataRate,
                        .outputs = store.outputs,
                        .firmwareVersion = store.firmwareVersion,
                        .hardwareVersion = store.hardwareVersion,
                        .serialNumber = store.serialNumber};
    return *settings;
}

// What the device replies to the command at the present baud rate.
std::error_code DeviceState::requestBaudRate(unsigned newBaud,
                                             const CommandBuilder::Packet &command)
{
    SampleStore &store = receiver.store();
    store.fresh.clear(BAUD_RATE);
    return request(command, replyWith(store, BAUD_RATE, [&] { return store.baudRate == newBaud; }),
                   {.perAttempt = kBaudReply, .attempts = 1});
}

// The first of these baud rates at which the device answers; the port is open at it. 0: none.
Result<unsigned> DeviceState::firstThatAnswers(const std::array<BaudTrial, 2> &trials)
{
    for (const BaudTrial &trial : trials) {
        if (trial.baud != baud) {
            if (const auto error = open(path, trial.baud))
                return error;
        }
        const auto answer = readSettings(trial.allowed);
        if (answer)
            return trial.baud;
        if (answer.error() != Error::NoAnswer)
            return answer.error();
    }
    return 0U;
}

// The device answers the command at the old baud rate or not at all, so the proof of success is
// that it answers at the new one. A reply with the old baud rate is no proof of a refusal: it may
// be the late one to an earlier request. It only decides which baud rate is tried first.
std::error_code DeviceState::changeBaudRate(unsigned newBaud)
{
    const BaudTrial before{baud, retryPolicy};
    const BaudTrial after{newBaud, kAfterBaudChange};
    if (newBaud == baud)
        return readSettings(retryPolicy).error();
    const CommandBuilder::Packet command = commands.setBaudRate(newBaud);
    for (int change = 0; change < kBaudChanges; ++change) {
        const auto reply = requestBaudRate(newBaud, command);
        if (reply && reply != Error::Refused && reply != Error::NoAnswer)
            return reply;
        const auto found = firstThatAnswers(reply == Error::Refused ? std::array{before, after}
                                                                    : std::array{after, before});
        if (!found)
            return found.error();
        if (*found == newBaud)
            return {};
        if (*found == 0) {
            const auto error = open(path, before.baud);
            return error ? error : Error::NoAnswer;
        }
    }
    return Error::Refused;
}

Result<Settings> Device::readSettings()
{
    return m_state->readSettings(m_state->retryPolicy);
}

std::error_code Device::setDataRate(std::uint16_t rateHz)
{
    SampleStore &store = m_state->receiver.store();
    store.fresh.clear(DATA_RATE);
    return m_state->request(m_state->commands.setDataRate(rateHz),
                            replyWith(store, DATA_RATE, [&] { return store.dataRate == rateHz; }));
}

std::error_code Device::setOutputs(std::uint16_t mask)
{
    SampleStore &store = m_state->receiver.store();
    store.fresh.clear(OUTPUTS);
    return m_state->request(m_state->commands.setOutputs(mask),
                            replyWith(store, OUTPUTS, [&] { return store.outputs == mask; }));
}

std::error_code Device::setZeroThreshold(float threshold)
{
    SampleStore &store = m_state->receiver.store();
    store.fresh.clear(ZERO_THRESHOLD);
    return m_state->request(
        m_state->commands.setZeroThreshold(threshold),
        replyWith(store, ZERO_THRESHOLD, [&] { return store.zeroThreshold == threshold; }));
}

std::error_code Device::setBaudRate(unsigned baud)
{
    return m_state->changeBaudRate(baud);
}

std::error_code Device::setMagneticCalibration(const MagneticCalibration &calibration)
{
    SampleStore &store = m_state->receiver.store();
    store.fresh.clear(MAG_CALIBRATION);
    return m_state->request(m_state->commands.setMagneticCalibration(calibration.bias.data(),
                                                                     calibration.matrix.data()),
                            replyWith(store, MAG_CALIBRATION, [&] {
                                return store.magneticBias == calibration.bias &&
                                       store.magneticMatrix == calibration.matrix;
                            }));
}

std::error_code Device::save()
{
    SampleStore &store = m_state->receiver.store();
    store.fresh.clear(SAVE_SETTINGS);
    return m_state->request(m_state->commands.saveSettings(store.outputs),
                            statusReply(store, SAVE_SETTINGS));
}

std::error_code Device::factoryReset()
{
    SampleStore &store = m_state->receiver.store();
    store.fresh.clear(FACTORY_RESET);
    return m_state->request(m_state->commands.revertToFactorySettings(store.outputs),
                            statusReply(store, FACTORY_RESET));
}

} // namespace session
