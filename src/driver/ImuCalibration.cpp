// Magnetometer calibration: collection in the device, download, and writing the result.

#include "driver/ImuDriver.h"

#include <algorithm>

using namespace std::chrono_literals;
using namespace protocol;

namespace {

constexpr auto kPause = 10ms;

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

bool imu::request(BlockCode code, const CommandBuilder::Packet &packet, int attempts, int polls,
                  WriteFunction write)
{
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if ((m_link.*write)(packet) == packet.size()) {
            for (int poll = 0; poll < polls; ++poll) {
                if (m_store.fresh.test(code))
                    return true;
                sleep(kPause);
            }
        }
        sleep(kPause);
    }
    return false;
}

bool imu::startCalibration()
{
    const auto packet =
        clearAndBuild(START_CALIBRATION, [&] { return m_commands.single(START_CALIBRATION); });
    return !packet.empty() && request(START_CALIBRATION, packet, 12, 999, &SerialLink::writeSome);
}

bool imu::stopCalibration()
{
    const auto packet =
        clearAndBuild(STOP_CALIBRATION, [&] { return m_commands.single(STOP_CALIBRATION); });
    return !packet.empty() && request(STOP_CALIBRATION, packet, 1002, 9, &SerialLink::writeAll);
}

unsigned int imu::getCalibrationDataSize()
{
    const auto packet = clearAndBuild(CALIBRATION_DATA_SIZE,
                                      [&] { return m_commands.single(CALIBRATION_DATA_SIZE); });
    if (packet.empty() || !request(CALIBRATION_DATA_SIZE, packet, 1002, 99, &SerialLink::writeAll))
        return 0;
    return m_store.calibrationDataSize;
}

std::vector<float> imu::getCalibrationData(unsigned int first, unsigned int second)
{
    const auto packet = clearAndBuild(CALIBRATION_DATA,
                                      [&] { return m_commands.getCalibrationData(first, second); });
    if (packet.empty() || !request(CALIBRATION_DATA, packet, 102, 9, &SerialLink::writeAll))
        return {};
    const boost::mutex::scoped_lock lock(m_lock);
    return selectPoints(m_store.calibration, m_store.calibrationFloatCount);
}

bool imu::setMagneticFieldCalibrationData_(float *bias, float *matrix)
{
    if (!send([&] { return m_commands.setMagneticCalibration(bias, matrix); }) ||
        !waitForResponse(MAG_CALIBRATION))
        return false;
    // Compares floats exactly: a device that accepted the values echoes the same bits.
    const boost::mutex::scoped_lock lock(m_lock);
    return std::equal(m_store.magneticBias.begin(), m_store.magneticBias.end(), bias) &&
           std::equal(m_store.magneticMatrix.begin(), m_store.magneticMatrix.end(), matrix);
}

bool imu::setMagneticFieldCalibrationData(float *bias, float *matrix)
{
    if (!m_connected)
        return false;
    retryForever(10ms, [&] { return setMagneticFieldCalibrationData_(bias, matrix); });
    return true;
}
