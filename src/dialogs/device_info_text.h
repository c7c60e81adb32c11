#pragma once

#include <QString>

// Formats of the device's numbers in the device info dialog. Pure: any thread.
namespace device_info {

// Lower-case hexadecimal, no prefix, no padding.
QString hexText(unsigned int value);
// Major and minor number, the high and the low byte, each in hexadecimal: 0x010A is "1.a".
QString firmwareText(int version);

} // namespace device_info
