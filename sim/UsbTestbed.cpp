#include "sim/UsbTestbed.h"

#include <filesystem>
#include <stdexcept>

#include <umockdev.h>

namespace sim {

namespace {

// The number a kernel would give it: USB adapters have major 188, modems (ACM) 166.
std::string deviceNumber(const std::string &name)
{
    const std::size_t digits = name.find_last_not_of("0123456789") + 1;
    const bool modem = name.compare(0, 6, "ttyACM") == 0;
    return (modem ? "166:" : "188:") + (digits < name.size() ? name.substr(digits) : "0");
}

std::string usbDevice(const std::string &name)
{
    return "/devices/usb-" + name;
}

std::string ttyDevice(const std::string &name)
{
    return usbDevice(name) + "/interface/" + name + "/tty/" + name;
}

// The tty, the USB interface that drives it and the USB device they belong to: a port is listed
// as an adapter because of its parents.
std::string records(const std::string &name)
{
    return "P: " + usbDevice(name) +
           "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nA: idVendor=0403\nA: idProduct=6001\n"
           "A: manufacturer=Kestrova\nA: product=Vornix IMU (simulated)\n\n"
           "P: " +
           usbDevice(name) + "/interface/" + name +
           "\nE: SUBSYSTEM=usb-serial\n\nP: " + ttyDevice(name) + "\nN: " + name +
           "\nE: SUBSYSTEM=tty\nE: DEVNAME=/dev/" + name + "\nA: dev=" + deviceNumber(name) + "\n";
}

[[noreturn]] void fail(const std::string &what, GError *error)
{
    const std::string reason = error ? error->message : "no reason given";
    g_clear_error(&error);
    throw std::runtime_error(what + ": " + reason);
}

// The testbed's own server refuses every ioctl on its ports, and Asio cannot even make one
// non-blocking: the caller's own kernel must answer. At full rate a byte may take ten microseconds,
// so reads must not wait for a server.
//
// Newer releases let the kernel answer when there is no server of this name. Older ones fail to
// open a port then, but ask a server of this name for ioctls only, so there it is replaced by one
// that has the kernel answer.
constexpr const char *kDefaultServer = "_default";

gboolean runForReal(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer)
{
    GError *error = nullptr;
    gint number = 0;
    const gint result = umockdev_ioctl_client_execute(client, &number, &error);
    if (error)
        g_clear_error(&error);
    else
        umockdev_ioctl_client_complete(client, result, number);
    return TRUE;
}

} // namespace

UsbTestbed::UsbTestbed()
    : m_testbed(umockdev_testbed_new())
    , m_ioctls(umockdev_ioctl_base_new())
{
    std::filesystem::remove(root() + "/ioctl/" + kDefaultServer);
    if (VORNIX_TESTBED_NEEDS_SERVER) {
        g_signal_connect(m_ioctls, "handle-ioctl", G_CALLBACK(runForReal), nullptr);
        GError *error = nullptr;
        if (!umockdev_testbed_attach_ioctl(m_testbed, kDefaultServer, m_ioctls, &error))
            fail("cannot serve ioctls", error);
    }
}

UsbTestbed::~UsbTestbed()
{
    m_units.clear();
    g_object_unref(m_testbed);
    g_object_unref(m_ioctls);
}

std::string UsbTestbed::root() const
{
    gchar *root = umockdev_testbed_get_root_dir(m_testbed);
    std::string result = root;
    g_free(root);
    return result;
}

// The testbed gives the node a pty of its own; the unit's takes its place, because the unit must
// be able to hang up.
void UsbTestbed::addAdapter(const std::string &name)
{
    GError *error = nullptr;
    if (!umockdev_testbed_add_from_string(m_testbed, records(name).c_str(), &error))
        fail("cannot add " + name, error);
    m_units.at(name)->setLink(root() + "/dev/" + name);
}

RunningDevice &UsbTestbed::plug(const std::string &name, DeviceOptions options)
{
    plug(name, std::make_unique<RunningDevice>(std::move(options)));
    return device(name);
}

void UsbTestbed::plug(const std::string &name, std::unique_ptr<RunningUnit> unit)
{
    if (m_units.count(name) != 0)
        throw std::runtime_error(name + " is there already");
    unit->setCableListener([this, name](bool pluggedIn) { show(name, pluggedIn); });
    m_units[name] = std::move(unit);
    addAdapter(name);
}

RunningUnit &UsbTestbed::unit(const std::string &name)
{
    const auto found = m_units.find(name);
    if (found == m_units.end())
        throw std::runtime_error("there is no " + name);
    return *found->second;
}

RunningDevice &UsbTestbed::device(const std::string &name)
{
    return dynamic_cast<RunningDevice &>(unit(name));
}

void UsbTestbed::unplug(const std::string &name)
{
    unit(name).unplug();
    show(name, false);
}

void UsbTestbed::replug(const std::string &name)
{
    unit(name).plugIn();
    show(name, true);
}

// umockdev cannot add a node a second time after removing it, so its record stays, out of sight:
// ports are found by their entry in the class's directory.
void UsbTestbed::show(const std::string &name, bool pluggedIn) const
{
    const std::string from = pluggedIn ? hiddenEntry(name) : classEntry(name);
    const std::string to = pluggedIn ? classEntry(name) : hiddenEntry(name);
    std::error_code ignored; // it is there already if somebody else has moved the cable too
    std::filesystem::rename(from, to, ignored);
}

std::string UsbTestbed::classEntry(const std::string &name) const
{
    return root() + "/sys/class/tty/" + name;
}

std::string UsbTestbed::hiddenEntry(const std::string &name) const
{
    return root() + "/unplugged-" + name;
}

} // namespace sim
