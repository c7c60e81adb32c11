// Settings stored in the device. name_() sends one request and waits for its confirmation; name()
// retries it.

#include "driver/ImuDriver.h"

#include <algorithm>
#include <array>

using namespace std::chrono_literals;
using namespace protocol;

namespace {

constexpr int kResponsePolls = 9;
constexpr auto kPollPause = 10ms;
constexpr int kOutputsAttempts = 1002;
constexpr int kLoadAttempts = 101;
constexpr int kLoadPolls = 10;
constexpr std::array<BlockCode, 5> kSettingsCodes{BAUD_RATE, DATA_RATE, OUTPUTS, VERSIONS,
                                                  SERIAL_NUMBER};

} // namespace

// --- What was received -------------------------------------------------------------------------

bool imu::getDataRate_(unsigned short *rateHz)
{
    return takeFresh(DATA_RATE, m_store.dataRate, rateHz);
}

bool imu::getBaudRate_(unsigned int *baud)
{
    return takeFresh(BAUD_RATE, m_store.baudRate, baud);
}

bool imu::getOutputs_(unsigned short *mask)
{
    return takeFresh(OUTPUTS, m_store.outputs, mask);
}

int imu::getDataRate()
{
    unsigned short rateHz = 0;
    getDataRate_(&rateHz);
    return rateHz;
}

int imu::getBaudRate()
{
    unsigned int baud = 0;
    getBaudRate_(&baud);
    return static_cast<int>(baud);
}

unsigned short imu::getOutputs()
{
    unsigned short mask = 0;
    getOutputs_(&mask);
    return mask;
}

int imu::getFirmwareVersion() const
{
    return m_connected ? m_store.firmwareVersion.load() : 0;
}

int imu::getHardwareVersion() const
{
    return m_connected ? m_store.hardwareVersion.load() : 0;
}

unsigned int imu::getSerialNumber() const
{
    return m_connected ? m_store.serialNumber.load() : 0;
}

// --- One request -------------------------------------------------------------------------------

bool imu::waitForResponse(int code)
{
    for (int poll = 0; poll < kResponsePolls; ++poll) {
        if (m_store.fresh.test(code))
            return true;
        sleep(kPollPause);
    }
    return false;
}

bool imu::writeWhole(const CommandBuilder::Packet &packet)
{
    return m_link.writeSome(packet) == packet.size();
}

bool imu::setDataRate_(int rateHz)
{
    {
        const boost::mutex::scoped_lock lock(m_lock);
        if (!m_connected || !writeWhole(m_commands.setDataRate(static_cast<std::uint16_t>(rateHz))))
            return false;
    }
    return waitForResponse(DATA_RATE) && m_store.dataRate == rateHz;
}

bool imu::setOutputs_(unsigned short mask)
{
    return send([&] { return m_commands.setOutputs(mask); }) && waitForResponse(OUTPUTS) &&
           m_store.outputs == mask;
}

bool imu::setZeroThreshold_(float threshold)
{
    return send([&] { return m_commands.setZeroThreshold(threshold); }) &&
           waitForResponse(ZERO_THRESHOLD);
}

bool imu::saveSettings_()
{
    return send([&] { return m_commands.saveSettings(m_store.outputs); }) &&
           waitForResponse(SAVE_SETTINGS);
}

bool imu::revertToFactorySettings_()
{
    return send([&] { return m_commands.revertToFactorySettings(m_store.outputs); }) &&
           waitForResponse(FACTORY_RESET);
}

bool imu::loadSettings_()
{
    if (!send([&] { return m_commands.getSettings(); }))
        return false;
    for (int poll = 0; poll < kLoadPolls; ++poll) {
        if (std::all_of(kSettingsCodes.begin(), kSettingsCodes.end(),
                        [this](BlockCode code) { return m_store.fresh.test(code); }))
            return true;
        sleep(kPollPause);
    }
    return false;
}

// --- Retries ------------------------------------------------------------------------------------

// setOutputs() and loadSettings() have a limit; the others retry without limit. They must not
// report a setting that the device has not confirmed, and the user can see that the device does not
// answer.

bool imu::setDataRate(int rateHz)
{
    if (!m_connected)
        return false;
    unsigned short confirmed = 0;
    retryForever(10ms, [&] { return setDataRate_(rateHz) && getDataRate_(&confirmed); });
    return true;
}

bool imu::setOutputs(unsigned short mask)
{
    if (!m_connected)
        return false;
    unsigned short confirmed = 0;
    for (int attempt = 0; attempt < kOutputsAttempts; ++attempt) {
        if (setOutputs_(mask) && getOutputs_(&confirmed))
            return true;
        sleep(1ms);
    }
    return false;
}

void imu::setZeroThreshold(float threshold)
{
    if (m_connected)
        retryForever(10ms, [&] { return setZeroThreshold_(threshold); });
}

bool imu::saveSettings()
{
    if (!m_connected)
        return false;
    clearFresh(SAVE_SETTINGS);
    retryForever(500ms, [&] { return saveSettings_(); });
    return true;
}

bool imu::revertToFactorySettings()
{
    if (!m_connected)
        return false;
    clearFresh(FACTORY_RESET);
    retryForever(500ms, [&] { return revertToFactorySettings_(); });
    return true;
}

bool imu::loadSettings()
{
    if (!m_connected)
        return false;
    resetSettingsFlags();
    for (int attempt = 0; attempt < kLoadAttempts; ++attempt) {
        if (loadSettings_())
            return true;
        sleep(100ms);
    }
    return false;
}

void imu::clearFresh(BlockCode code)
{
    const boost::mutex::scoped_lock lock(m_lock);
    m_store.fresh.clear(code);
}

void imu::resetSettingsFlags()
{
    const boost::mutex::scoped_lock lock(m_lock);
    for (const BlockCode code : kSettingsCodes)
        m_store.fresh.clear(code);
}
