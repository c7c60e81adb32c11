#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "driver/imu.h"
#include "fuzz/check.h"
#include "fuzz/receiver_model.h"

namespace fuzz {

// Counts the driver's signals, as a window would receive them.
struct SignalCounter
{
    explicit SignalCounter(imu &driver)
    {
        QObject::connect(&driver, &imu::quaternionUpdated,
                         [this](float x, float y, float z, float w) {
                             ++quaternions;
                             lastQuaternion = {x, y, z, w};
                         });
        QObject::connect(&driver, &imu::MagneticFieldUpdated, [this] { ++fields; });
        QObject::connect(&driver, &imu::MagneticFieldRawUpdated, [this] { ++rawFields; });
    }

    int quaternions = 0;
    int fields = 0;
    int rawFields = 0;
    std::vector<float> lastQuaternion;
};

// Compares bit for bit: a received value may be a NaN, and the getter returns it unchanged.
inline bool sameBits(const std::vector<float> &a, const std::vector<float> &b)
{
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

inline bool sameBits(float a, float b)
{
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

// The result that a getter must return: the value if it is new, and only once.
inline std::vector<float> expectedOnce(ReceiverModel &model, int code)
{
    return model.fresh.erase(code) != 0 ? model.floats[static_cast<std::size_t>(code)]
                                        : std::vector<float>();
}

inline std::uint32_t expectedIntegerOnce(ReceiverModel &model, int code)
{
    return model.fresh.erase(code) != 0 ? model.integers[static_cast<std::size_t>(code)] : 0;
}

// Calls every sample getter of a connected driver and compares the results with the model.
inline void checkSamples(imu &driver, ReceiverModel &model)
{
    FUZZ_CHECK(sameBits(driver.getRates(), expectedOnce(model, 0)));
    FUZZ_CHECK(sameBits(driver.getAccelerations(), expectedOnce(model, 1)));
    FUZZ_CHECK(sameBits(driver.getQuaternion(), expectedOnce(model, 2)));
    FUZZ_CHECK(sameBits(driver.getCovariances(), expectedOnce(model, 4)));
    FUZZ_CHECK(sameBits(driver.getEuler(), expectedOnce(model, 5)));
    FUZZ_CHECK(sameBits(driver.getMagneticField(), expectedOnce(model, 6)));
    FUZZ_CHECK(sameBits(driver.getMagneticFieldRaw(), expectedOnce(model, 14)));

    const std::vector<float> altitude = expectedOnce(model, 3);
    FUZZ_CHECK(sameBits(driver.getAltitude(),
                        altitude.empty() ? std::numeric_limits<float>::infinity() : altitude[0]));
}

inline void checkSettings(imu &driver, ReceiverModel &model)
{
    FUZZ_CHECK(static_cast<unsigned>(driver.getBaudRate()) == expectedIntegerOnce(model, 7));
    FUZZ_CHECK(static_cast<unsigned>(driver.getDataRate()) == expectedIntegerOnce(model, 8));
    FUZZ_CHECK(driver.getOutputs() == expectedIntegerOnce(model, 9));
    FUZZ_CHECK(static_cast<unsigned>(driver.getFirmwareVersion()) == model.integers[16]);
    FUZZ_CHECK(driver.getHardwareVersion() == model.hardwareVersion);
    FUZZ_CHECK(driver.getSerialNumber() == model.integers[17]);
}

inline void checkSignals(const SignalCounter &seen, const ReceiverModel &model)
{
    FUZZ_CHECK(seen.quaternions == model.quaternions);
    FUZZ_CHECK(seen.fields == model.fields);
    FUZZ_CHECK(seen.rawFields == model.rawFields);
    FUZZ_CHECK(sameBits(seen.lastQuaternion, model.floats[2]));
}

} // namespace fuzz
