#pragma once

#include <chrono>
#include <limits>
#include <span>

#include "protocol/protocol.h"

// How the driver carries out each command that waits for a reply: imu::perform() reads this table.
namespace command_table {

using namespace std::chrono_literals;

// What the driver's lock covers. Each command first tests under the lock whether the driver is
// connected.
enum class LockRule {
    // Each attempt builds the packet under the lock and writes it after releasing the lock.
    Build,
    // Each attempt builds and writes under the lock.
    BuildAndWrite,
    // The packet is built once, under the lock. Attempts write it without testing the connection
    // again, so a port that another thread closes meanwhile ends the command with an exception.
    BuildOnce,
};

// One write call that may be short, which is a failed attempt, or a loop until all is written.
enum class Writing { Once, Whole };

struct Command
{
    // The command is confirmed when the fresh flags of all these codes are set.
    std::span<const protocol::BlockCode> replies;
    // True: the flags are cleared before the first attempt, so an earlier reply cannot confirm.
    bool clearsFlags;
    int attempts;
    int polls;                            // of the flags, per attempt, each followed by a sleep
    std::chrono::milliseconds retryPause; // after each failed attempt
    LockRule lock = LockRule::Build;
    Writing writing = Writing::Once;
};

inline constexpr std::chrono::milliseconds kPollPause = 10ms;
inline constexpr int kReplyPolls = 9;
inline constexpr int kUnlimited = std::numeric_limits<int>::max(); // years

namespace replies {
using namespace protocol;
inline constexpr BlockCode kDataRate[]{DATA_RATE};
inline constexpr BlockCode kOutputs[]{OUTPUTS};
inline constexpr BlockCode kZeroThreshold[]{ZERO_THRESHOLD};
inline constexpr BlockCode kSaved[]{SAVE_SETTINGS};
inline constexpr BlockCode kFactoryReset[]{FACTORY_RESET};
inline constexpr BlockCode kSettings[]{BAUD_RATE, DATA_RATE, OUTPUTS, VERSIONS, SERIAL_NUMBER};
inline constexpr BlockCode kMagneticCalibration[]{MAG_CALIBRATION};
inline constexpr BlockCode kStarted[]{START_CALIBRATION};
inline constexpr BlockCode kStopped[]{STOP_CALIBRATION};
inline constexpr BlockCode kCalibrationSize[]{CALIBRATION_DATA_SIZE};
inline constexpr BlockCode kCalibrationData[]{CALIBRATION_DATA};
} // namespace replies

// Settings. Without a limit where the program must not report a setting that the device has not
// confirmed; the user can see that the device does not answer.
// The data rate and the baud rate alone are written under the lock.
inline constexpr Command kSetDataRate{replies::kDataRate, false, kUnlimited,
                                      kReplyPolls,        10ms,  LockRule::BuildAndWrite};
inline constexpr Command kSetBaudRate{{}, false, 1, 0, 0ms, LockRule::BuildAndWrite}; // no reply
inline constexpr Command kSetOutputs{replies::kOutputs, false, 1002, kReplyPolls, 1ms};
inline constexpr Command kSetZeroThreshold{replies::kZeroThreshold, false, kUnlimited, kReplyPolls,
                                           10ms};
inline constexpr Command kSaveSettings{replies::kSaved, true, kUnlimited, kReplyPolls, 500ms};
inline constexpr Command kFactoryReset{replies::kFactoryReset, true, kUnlimited, kReplyPolls,
                                       500ms};
inline constexpr Command kLoadSettings{replies::kSettings, true, 101, 10, 100ms};

// Calibration.
inline constexpr Command kSetMagneticCalibration{replies::kMagneticCalibration, false, kUnlimited,
                                                 kReplyPolls, 10ms};
inline constexpr Command kStartCalibration{replies::kStarted,  true, 12, 999, 10ms,
                                           LockRule::BuildOnce};
inline constexpr Command kStopCalibration{
    replies::kStopped, true, 1002, kReplyPolls, 10ms, LockRule::BuildOnce, Writing::Whole};
inline constexpr Command kCalibrationSize{replies::kCalibrationSize, true,          1002, 99, 10ms,
                                          LockRule::BuildOnce,       Writing::Whole};
inline constexpr Command kCalibrationData{
    replies::kCalibrationData, true, 102, kReplyPolls, 10ms, LockRule::BuildOnce, Writing::Whole};

} // namespace command_table
