#include "dialogs/settings_choices.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace settings {

std::uint16_t outputsMask(const CheckedBoxes &checked)
{
    unsigned int mask = 0;
    for (std::size_t box = 0; box < checked.size(); ++box)
        mask |= checked[box] ? kOutputBits[box] : 0U;
    return static_cast<std::uint16_t>(mask);
}

CheckedBoxes checkedBoxes(std::uint16_t mask)
{
    CheckedBoxes checked{};
    for (std::size_t box = 0; box < checked.size(); ++box)
        checked[box] = (mask & kOutputBits[box]) != 0;
    return checked;
}

std::uint16_t presetMask(Preset preset)
{
    using namespace protocol;
    constexpr std::uint16_t kInertial =
        OUT_QUATERNION | OUT_ACCELERATIONS | OUT_RATES | OUT_MAGNETIC_FIELD;
    constexpr std::uint16_t kEveryBox = 0x00FF;
    switch (preset) {
    case QuaternionPreset:
        return OUT_QUATERNION;
    case EulerPreset:
        return OUT_EULER;
    case InertialPreset:
        return kInertial;
    case InertialBarometerPreset:
        return kInertial | OUT_ALTITUDE;
    case FullPreset:
        return kEveryBox;
    case CustomPreset:
    case PresetCount:
        break;
    }
    return 0;
}

bool parseBaud(const QString &text, unsigned int &baud)
{
    baud = text.trimmed().toUInt();
    return baud != 0;
}

bool parseRate(const QString &text, unsigned short &rateHz)
{
    static const QRegularExpression kUnit(u"\\s*Hz\\s*$"_s);
    rateHz = text.trimmed().remove(kUnit).toUShort();
    return rateHz != 0;
}

QString rateText(int rateHz)
{
    return QString::number(rateHz) + u" Hz"_s;
}

QStringList spareBaudTexts()
{
    return {u"115200"_s, u"230400"_s, u"460800"_s, u"921600"_s, u"1500000"_s};
}

QStringList spareRateTexts()
{
    return {u"50 Hz"_s, u"100 Hz"_s, u"200 Hz"_s, u"400 Hz"_s, u"500 Hz"_s, u"1000 Hz"_s};
}

} // namespace settings
