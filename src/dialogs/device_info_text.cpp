#include "dialogs/device_info_text.h"

namespace device_info {

QString hexText(unsigned int value)
{
    return QString::number(value, 16);
}

QString firmwareText(int version)
{
    const auto bits = static_cast<unsigned int>(version);
    return hexText((bits >> 8) & 0xFF) + u'.' + hexText(bits & 0xFF);
}

} // namespace device_info
