#include "tests/recordings/driver_call.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "driver/imu.h"

namespace {

std::vector<float> floats(std::istringstream &words)
{
    std::vector<float> values;
    for (std::string word; words >> word;)
        values.push_back(std::strtof(word.c_str(), nullptr));
    return values;
}

std::string yesNo(bool yes)
{
    return yes ? "true" : "false";
}

} // namespace

std::string valuesText(const float *values, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        std::array<char, 32> number{};
        std::snprintf(number.data(), number.size(), "%.9g", static_cast<double>(values[i]));
        text.append(i == 0 ? "" : " ").append(number.data());
    }
    return text;
}

std::string perform(imu &driver, const std::string &request)
{
    std::istringstream words(request);
    std::string name;
    words >> name;
    if (name == "loadSettings") {
        if (!driver.loadSettings())
            return "false";
        std::ostringstream text;
        text << driver.getBaudRate() << ' ' << driver.getDataRate() << ' ' << driver.getOutputs()
             << ' ' << driver.getFirmwareVersion() << ' ' << driver.getHardwareVersion() << ' '
             << driver.getSerialNumber();
        return text.str();
    }
    if (name == "setMagneticFieldCalibrationData") {
        std::vector<float> values = floats(words);
        return yesNo(values.size() == 12 &&
                     driver.setMagneticFieldCalibrationData(values.data(), values.data() + 3));
    }
    if (name == "setZeroThreshold") {
        driver.setZeroThreshold(floats(words).at(0));
        return "true";
    }
    unsigned int first = 0;
    unsigned int second = 0;
    words >> first >> second;
    if (name == "setDataRate")
        return yesNo(driver.setDataRate(static_cast<int>(first)));
    if (name == "setOutputs")
        return yesNo(driver.setOutputs(static_cast<unsigned short>(first)));
    if (name == "setBaudRate")
        return yesNo(driver.setBaudRate(first));
    if (name == "saveSettings")
        return yesNo(driver.saveSettings());
    if (name == "revertToFactorySettings")
        return yesNo(driver.revertToFactorySettings());
    if (name == "startCalibration")
        return yesNo(driver.startCalibration());
    if (name == "stopCalibration")
        return yesNo(driver.stopCalibration());
    if (name == "getCalibrationDataSize")
        return std::to_string(driver.getCalibrationDataSize());
    if (name == "getCalibrationData") {
        const std::vector<float> points = driver.getCalibrationData(first, second);
        return valuesText(points.data(), points.size());
    }
    throw std::invalid_argument("unknown call: " + request);
}
