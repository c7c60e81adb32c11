#include "cli/port_list.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string_view>

#include <libudev.h>

namespace cli {

namespace {

struct Release
{
    void operator()(udev *object) const { ::udev_unref(object); }
    void operator()(udev_enumerate *object) const { ::udev_enumerate_unref(object); }
    void operator()(udev_device *object) const { ::udev_device_unref(object); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

std::string textOf(const char *text)
{
    return text ? text : "";
}

std::string attribute(udev_device *device, const char *name)
{
    return device ? textOf(::udev_device_get_sysattr_value(device, name)) : "";
}

bool isUsbSerial(std::string_view name)
{
    return name.starts_with("ttyUSB") || name.starts_with("ttyACM");
}

UsbPort describe(udev_device *tty)
{
    // Parents are borrowed from the device.
    udev_device *usb = ::udev_device_get_parent_with_subsystem_devtype(tty, "usb", "usb_device");
    UsbPort port;
    port.name = textOf(::udev_device_get_sysname(tty));
    port.path = textOf(::udev_device_get_devnode(tty));
    port.sysPath = textOf(::udev_device_get_syspath(tty));
    port.vendorId = attribute(usb, "idVendor");
    port.productId = attribute(usb, "idProduct");
    port.manufacturer = attribute(usb, "manufacturer");
    port.product = attribute(usb, "product");
    port.serialNumber = attribute(usb, "serial");
    for (udev_device *parent = ::udev_device_get_parent(tty); parent && port.driver.empty();
         parent = ::udev_device_get_parent(parent))
        port.driver = textOf(::udev_device_get_driver(parent));
    return port;
}

} // namespace

std::vector<UsbPort> usbPorts()
{
    const Owned<udev> library(::udev_new());
    const Owned<udev_enumerate> list(library ? ::udev_enumerate_new(library.get()) : nullptr);
    if (!list)
        throw std::runtime_error("cannot list the ports");
    ::udev_enumerate_add_match_subsystem(list.get(), "tty");
    ::udev_enumerate_scan_devices(list.get());

    std::vector<UsbPort> ports;
    for (udev_list_entry *entry = ::udev_enumerate_get_list_entry(list.get()); entry;
         entry = ::udev_list_entry_get_next(entry)) {
        const Owned<udev_device> tty(
            ::udev_device_new_from_syspath(library.get(), ::udev_list_entry_get_name(entry)));
        if (tty && isUsbSerial(textOf(::udev_device_get_sysname(tty.get()))))
            ports.push_back(describe(tty.get()));
    }
    // ttyUSB2 before ttyUSB10.
    std::sort(ports.begin(), ports.end(), [](const UsbPort &a, const UsbPort &b) {
        return std::pair(a.name.size(), a.name) < std::pair(b.name.size(), b.name);
    });
    return ports;
}

} // namespace cli
