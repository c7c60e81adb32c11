#pragma once

#include "sim/RunningDevice.h"

#include <map>
#include <memory>
#include <string>

typedef struct _UMockdevTestbed UMockdevTestbed;
typedef struct _UMockdevIoctlBase UMockdevIoctlBase;

namespace sim {

// A /dev and /sys of its own, in which simulated units are USB serial adapters.
//
// Seen by processes that run with umockdev's preload library and the environment of this process
// as it is after construction: their port lists show the adapters, and /dev/<name> opens. One at a
// time, used by one thread. Errors are std::runtime_error.
class UsbTestbed
{
public:
    UsbTestbed();
    ~UsbTestbed();

    UsbTestbed(const UsbTestbed &) = delete;
    UsbTestbed &operator=(const UsbTestbed &) = delete;

    // Adds an adapter, such as "ttyUSB0" or "ttyACM3", with a unit behind it. The reference stays
    // valid as long as the testbed.
    RunningDevice &plug(const std::string &name, DeviceOptions options = {});
    // The same with any unit, which may move its cable by itself.
    void plug(const std::string &name, std::unique_ptr<RunningUnit> unit);
    // Throws std::bad_cast if another kind of unit is plugged in there.
    RunningDevice &device(const std::string &name);
    RunningUnit &unit(const std::string &name);

    // Pulls the adapter out: hung up, and gone from /dev and from the list of ports; and puts it
    // back. The unit keeps its memory.
    void unplug(const std::string &name);
    void replug(const std::string &name);

    // The root of its /dev and /sys.
    std::string root() const;

private:
    void addAdapter(const std::string &name);
    void show(const std::string &name, bool pluggedIn) const;
    std::string classEntry(const std::string &name) const;
    std::string hiddenEntry(const std::string &name) const;

    UMockdevTestbed *m_testbed; // owned, like the next
    UMockdevIoctlBase *m_ioctls;
    std::map<std::string, std::unique_ptr<RunningUnit>> m_units;
};

} // namespace sim
