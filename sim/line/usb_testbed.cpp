#include "sim/line/usb_testbed.h"

#include <filesystem>
#include <stdexcept>

#include <umockdev.h>

namespace sim {

namespace {

// The device number "major:minor" as the kernel assigns it: major 188 for USB serial adapters, 166
// for modems (ACM).
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

// The umockdev records of the USB device, its interface and its tty. All three are needed, because
// the list of ports recognises an adapter by its parents.
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

// The default server of the testbed rejects every ioctl on its ports, so Asio cannot even make a
// port non-blocking. The ioctls must go to the kernel instead. Reads must not go through a server:
// at full rate a byte may take ten microseconds.
//
// Newer umockdev releases pass ioctls to the kernel if no server of this name exists. Older
// releases cannot open a port without a server of this name, but use it for ioctls only, not for
// reads. For them this file replaces the server by one that passes each ioctl to the kernel.
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
    m_servers.clear();
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

// The testbed creates the node with another pty. The link replaces it by the pty of the simulated
// device, because the simulated device must be able to hang up the line.
void UsbTestbed::addAdapter(const std::string &name)
{
    GError *error = nullptr;
    if (!umockdev_testbed_add_from_string(m_testbed, records(name).c_str(), &error))
        fail("cannot add " + name, error);
    m_servers.at(name)->setLink(root() + "/dev/" + name);
}

void UsbTestbed::plug(const std::string &name, std::unique_ptr<PtyServer> server)
{
    if (m_servers.count(name) != 0)
        throw std::runtime_error(name + " is there already");
    m_servers[name] = std::move(server);
    watchCable(name);
    addAdapter(name);
}

PtyServer &UsbTestbed::server(const std::string &name)
{
    const auto found = m_servers.find(name);
    if (found == m_servers.end())
        throw std::runtime_error("there is no " + name);
    return *found->second;
}

void UsbTestbed::unplug(const std::string &name)
{
    server(name).unplug();
    show(name, false);
}

void UsbTestbed::replug(const std::string &name)
{
    server(name).plugIn();
    show(name, true);
}

void UsbTestbed::watchCable(const std::string &name)
{
    server(name).setCableListener([this, name](bool pluggedIn) { show(name, pluggedIn); });
}

// The other name may belong to an adapter that is unplugged itself, and then has no name until it
// is plugged in again: so two adapters can swap their names.
void UsbTestbed::replugAs(const std::string &name, const std::string &newName)
{
    auto moved = m_servers.extract(name);
    if (moved.empty())
        throw std::runtime_error("there is no " + name);
    auto waiting = m_servers.extract(newName);
    if (!waiting.empty() && waiting.mapped()->isPluggedIn())
        throw std::runtime_error(newName + " is there already");
    moved.key() = newName;
    m_servers.insert(std::move(moved));
    if (!waiting.empty()) {
        waiting.key() = name;
        m_servers.insert(std::move(waiting));
        watchCable(name);
        server(name).setLink(root() + "/dev/" + name);
    }
    watchCable(newName);
    server(newName).plugIn();
    if (std::filesystem::exists(root() + "/sys" + usbDevice(newName)))
        server(newName).setLink(root() + "/dev/" + newName);
    else
        addAdapter(newName);
    show(newName, true);
}

// umockdev cannot add a node again after removing it. So the node stays, and only its entry in the
// class directory moves: the list of ports is read from that directory.
void UsbTestbed::show(const std::string &name, bool pluggedIn) const
{
    const std::string from = pluggedIn ? hiddenEntry(name) : classEntry(name);
    const std::string to = pluggedIn ? classEntry(name) : hiddenEntry(name);
    std::error_code ignored; // fails if the entry has already been moved
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
