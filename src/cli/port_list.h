#pragma once

#include <string>
#include <vector>

namespace cli {

// A USB serial port of this computer. Texts are empty where the system does not state them.
struct UsbPort
{
    std::string name; // "ttyUSB0"
    std::string path; // "/dev/ttyUSB0"
    std::string vendorId;
    std::string productId;
    std::string manufacturer;
    std::string product;
    std::string serialNumber; // of the adapter
    std::string driver;
    std::string sysPath;
};

// All ports named ttyUSB* and ttyACM*, by number.
std::vector<UsbPort> usbPorts();

} // namespace cli
