// Settings stored in the device. name_() makes one attempt; name() repeats it as the command table
// says.

#include "driver/imu.h"

using namespace command_table;
using namespace protocol;

// --- What was received -------------------------------------------------------------------------

bool imu::getDataRate_(unsigned short *rateHz)
{
    return readFresh(DATA_RATE, m_store.dataRate, rateHz);
}

bool imu::getBaudRate_(unsigned int *baud)
{
    return readFresh(BAUD_RATE, m_store.baudRate, baud);
}

bool imu::getOutputs_(unsigned short *mask)
{
    return readFresh(OUTPUTS, m_store.outputs, mask);
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

// --- One attempt -------------------------------------------------------------------------------

bool imu::setDataRate_(int rateHz)
{
    return performOnce(
               kSetDataRate,
               [&] { return m_commands.setDataRate(static_cast<std::uint16_t>(rateHz)); }) &&
           m_store.dataRate == rateHz;
}

bool imu::setOutputs_(unsigned short mask)
{
    return performOnce(kSetOutputs, [&] { return m_commands.setOutputs(mask); }) &&
           m_store.outputs == mask;
}

bool imu::setZeroThreshold_(float threshold)
{
    return performOnce(kSetZeroThreshold, [&] { return m_commands.setZeroThreshold(threshold); });
}

bool imu::saveSettings_()
{
    return performOnce(kSaveSettings, [&] { return m_commands.saveSettings(m_store.outputs); });
}

bool imu::revertToFactorySettings_()
{
    return performOnce(kFactoryReset,
                       [&] { return m_commands.revertToFactorySettings(m_store.outputs); });
}

bool imu::loadSettings_()
{
    return performOnce(kLoadSettings, [&] { return m_commands.getSettings(); });
}

// --- With retries ------------------------------------------------------------------------------

bool imu::setDataRate(int rateHz)
{
    unsigned short confirmed = 0;
    return perform(
        kSetDataRate, [&] { return m_commands.setDataRate(static_cast<std::uint16_t>(rateHz)); },
        [&] { return m_store.dataRate == rateHz && getDataRate_(&confirmed); });
}

bool imu::setOutputs(unsigned short mask)
{
    unsigned short confirmed = 0;
    return perform(
        kSetOutputs, [&] { return m_commands.setOutputs(mask); },
        [&] { return m_store.outputs == mask && getOutputs_(&confirmed); });
}

void imu::setZeroThreshold(float threshold)
{
    perform(kSetZeroThreshold, [&] { return m_commands.setZeroThreshold(threshold); });
}

bool imu::saveSettings()
{
    return perform(kSaveSettings, [&] { return m_commands.saveSettings(m_store.outputs); });
}

bool imu::revertToFactorySettings()
{
    return perform(kFactoryReset,
                   [&] { return m_commands.revertToFactorySettings(m_store.outputs); });
}

bool imu::loadSettings()
{
    return perform(kLoadSettings, [&] { return m_commands.getSettings(); });
}

void imu::resetSettingsFlags()
{
    const boost::mutex::scoped_lock lock(m_lock);
    clearFlags(kLoadSettings.replies);
}
