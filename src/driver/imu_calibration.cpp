// Magnetometer calibration: collection in the device, download, and writing the result.

#include "driver/imu.h"

#include <algorithm>

using namespace command_table;
using namespace protocol;

namespace {

// Returns the points in the floats of a downloaded block: uses whole groups of 12 floats and skips
// the last 2 of every 8.
std::vector<float> selectPoints(const std::array<float, SampleStore::kCalibrationCapacity> &buffer,
                                int count)
{
    constexpr int kGroup = 12;
    std::vector<float> points;
    const int usable = count - count % kGroup;
    for (int i = 0; i < usable; ++i) {
        if (i % 8 < 6)
            points.push_back(buffer[static_cast<std::size_t>(i)]);
    }
    return points;
}

} // namespace

bool imu::startCalibration()
{
    return perform(kStartCalibration, [&] { return m_commands.single(START_CALIBRATION); });
}

bool imu::stopCalibration()
{
    return perform(kStopCalibration, [&] { return m_commands.single(STOP_CALIBRATION); });
}

unsigned int imu::getCalibrationDataSize()
{
    const bool answered =
        perform(kCalibrationSize, [&] { return m_commands.single(CALIBRATION_DATA_SIZE); });
    return answered ? m_store.calibrationDataSize.load() : 0;
}

std::vector<float> imu::getCalibrationData(unsigned int first, unsigned int second)
{
    if (!perform(kCalibrationData, [&] { return m_commands.getCalibrationData(first, second); }))
        return {};
    const boost::mutex::scoped_lock lock(m_lock);
    return selectPoints(m_store.calibration, m_store.calibrationFloatCount);
}

bool imu::setMagneticFieldCalibrationData_(float *bias, float *matrix)
{
    return performOnce(kSetMagneticCalibration,
                       [&] { return m_commands.setMagneticCalibration(bias, matrix); }) &&
           echoesCalibration(bias, matrix);
}

bool imu::setMagneticFieldCalibrationData(float *bias, float *matrix)
{
    return perform(
        kSetMagneticCalibration, [&] { return m_commands.setMagneticCalibration(bias, matrix); },
        [&] { return echoesCalibration(bias, matrix); });
}

// Compares floats exactly: a device that accepted the values echoes the same bits.
bool imu::echoesCalibration(const float *bias, const float *matrix)
{
    const boost::mutex::scoped_lock lock(m_lock);
    return std::equal(m_store.magneticBias.begin(), m_store.magneticBias.end(), bias) &&
           std::equal(m_store.magneticMatrix.begin(), m_store.magneticMatrix.end(), matrix);
}
