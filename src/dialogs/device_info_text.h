#pragma once

#include <QString>

// How the device info dialog writes the device's numbers. Pure: any thread.
namespace device_info {

// Lower-case hexadecimal, no prefix, no padding.
QString hexText(unsigned int value);
// Major and minor number, the high and the low byte, each in hexadecimal: 0x010A is "1.a".
QString firmwareText(int version);

} // namespace device_info
