#pragma once

#include "sim/RunningDevice.h"

#include <map>
#include <memory>
#include <string>

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

    // Adds an adapter, such as "ttyUSB0" or "ttyACM3", with a simulated device. The reference stays
    // valid as long as the testbed.
    RunningDevice &plug(const std::string &name, DeviceOptions options = {});
    // Adds an adapter with any RunningUnit, which may move its cable itself.
    void plug(const std::string &name, std::unique_ptr<RunningUnit> unit);
    // Throws std::bad_cast if the RunningUnit at `name` is not a RunningDevice.
    RunningDevice &device(const std::string &name);
    RunningUnit &unit(const std::string &name);

    // unplug() hangs up the line and removes the adapter from /dev and from the list of ports.
    // replug() restores it. The simulated device keeps its memory.
    void unplug(const std::string &name);
    void replug(const std::string &name);

    // The root directory of the /dev and /sys tree.
    std::string root() const;

private:
    void addAdapter(const std::string &name);
    void show(const std::string &name, bool pluggedIn) const;
    std::string classEntry(const std::string &name) const;
    std::string hiddenEntry(const std::string &name) const;

    UMockdevTestbed *m_testbed; // owned, like m_ioctls
    UMockdevIoctlBase *m_ioctls;
    std::map<std::string, std::unique_ptr<RunningUnit>> m_units;
};

} // namespace sim
