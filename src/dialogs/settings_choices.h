#pragma once

#include <array>
#include <cstdint>

#include <QStringList>

#include "protocol/protocol.h"

// Logic of the settings dialog that needs no window: which output each check box stands for, which
// boxes a preset checks, and how the texts of the combo boxes are read. Pure: any thread.
namespace settings {

// The check boxes in the order of the form.
enum OutputBox {
    QuaternionBox,
    EulerBox,
    PressureBox,
    AccelerationsBox,
    RatesBox,
    MagneticFieldBox,
    CovarianceBox,
    SyncBox,
    OutputBoxCount
};

inline constexpr std::array<std::uint16_t, OutputBoxCount> kOutputBits{
    protocol::OUT_QUATERNION,    protocol::OUT_EULER, protocol::OUT_ALTITUDE,
    protocol::OUT_ACCELERATIONS, protocol::OUT_RATES, protocol::OUT_MAGNETIC_FIELD,
    protocol::OUT_COVARIANCES,   protocol::OUT_SYNC,
};

using CheckedBoxes = std::array<bool, OutputBoxCount>;

std::uint16_t outputsMask(const CheckedBoxes &checked);
// Bits 8 to 15 have no box.
CheckedBoxes checkedBoxes(std::uint16_t mask);

// The presets in the order of the combo box.
enum Preset {
    CustomPreset,
    QuaternionPreset,
    EulerPreset,
    InertialPreset,
    InertialBarometerPreset,
    FullPreset,
    PresetCount
};

std::uint16_t presetMask(Preset preset);

// Read an unsigned decimal number that is not 0; on failure return false and set the value to 0.
bool parseBaud(const QString &text, unsigned int &baud);
// The text may end in the unit "Hz", in this case only.
bool parseRate(const QString &text, unsigned short &rateHz);

// The text of a rate's entry: "200 Hz".
QString rateText(int rateHz);

// Used only if the form leaves its combo boxes empty. The present form fills them with other
// choices; these are for devices that support 1500000 baud and 400 Hz.
QStringList spareBaudTexts();
QStringList spareRateTexts();

} // namespace settings
