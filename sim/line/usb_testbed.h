#pragma once

#include <map>
#include <memory>
#include <string>

#include "sim/line/pty_server.h"

typedef struct _UMockdevTestbed UMockdevTestbed;
typedef struct _UMockdevIoctlBase UMockdevIoctlBase;

namespace sim {

// A separate /dev and /sys tree in which simulated devices are USB serial adapters.
//
// It applies to processes that run with umockdev's preload library and with the environment that
// this process has after construction: their port lists show the adapters, and they can open
// /dev/<name>. Only one object at a time, used by one thread. Throws std::runtime_error.
class UsbTestbed
{
public:
    UsbTestbed();
    ~UsbTestbed();

    UsbTestbed(const UsbTestbed &) = delete;
    UsbTestbed &operator=(const UsbTestbed &) = delete;

    // Adds an adapter, such as "ttyUSB0" or "ttyACM3", whose line is that of `server`.
    void plug(const std::string &name, std::unique_ptr<PtyServer> server);
    // The reference stays valid as long as the testbed.
    PtyServer &server(const std::string &name);

    // unplug() hangs up the line and removes the adapter from /dev and from the list of ports.
    // replug() restores it. The simulated device keeps its memory.
    void unplug(const std::string &name);
    void replug(const std::string &name);
    // Plugs an unplugged adapter in under another name, which no plugged-in adapter has. From then
    // on server() and the other operations know it by this name.
    void replugAs(const std::string &name, const std::string &newName);

    // The root directory of the /dev and /sys tree.
    std::string root() const;

private:
    void addAdapter(const std::string &name);
    void watchCable(const std::string &name);
    void show(const std::string &name, bool pluggedIn) const;
    std::string classEntry(const std::string &name) const;
    std::string hiddenEntry(const std::string &name) const;

    UMockdevTestbed *m_testbed; // owned, like m_ioctls
    UMockdevIoctlBase *m_ioctls;
    std::map<std::string, std::unique_ptr<PtyServer>> m_servers;
};

} // namespace sim
