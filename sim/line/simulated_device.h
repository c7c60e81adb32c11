#pragma once

#include <cstdint>
#include <optional>

#include "protocol/protocol.h"
#include "sim/line/simulated_time.h"
#include "sim/line/transmitter.h"

namespace sim {

// Interface of the device end of a line, without thread and port: an implementation takes bytes and
// the current time as arguments and returns bytes. Not thread-safe; the times passed in must not
// decrease.
class SimulatedDevice
{
public:
    enum class CableMove { PullOut, PutBack };

    virtual ~SimulatedDevice() = default;

    // Bytes that arrive at `now`, sent at hostBaud. The device drops them if hostBaud differs from
    // lineBaud().
    virtual void receive(protocol::Bytes bytes, std::uint32_t hostBaud, Time now) = 0;
    // Processes everything due by `now`.
    virtual void advance(Time now) = 0;
    // The next bytes whose transmission ends by `now`. Call until the result is empty.
    virtual std::optional<Transmission> transmit(Time now) = 0;
    // The next time at which advance() or transmit() has work to do.
    virtual Time nextEvent() const = 0;
    // The current baud rate of the line.
    virtual std::uint32_t lineBaud() const = 0;
    // Switches the power off and on.
    virtual void powerCycle(Time now) = 0;

    // Number of data packets dropped because the transmit buffer was full.
    virtual std::uint64_t samplesSkipped() const { return 0; }
    // Number of commands to save that it refused because the host holds other outputs.
    virtual std::uint64_t savesRefused() const { return 0; }

    // --- For a device that also controls the cable or waits for the host ----------------------

    // `attached`: a host has the port open at lineBaud(). Called repeatedly, not only on a change.
    virtual void setHostAttached(bool /*attached*/, Time /*now*/) {}
    // True if the next bytes must not be sent before the host has read all earlier ones.
    virtual bool waitsForHost() const { return false; }
    // The cable move due by `now`. Each move is returned once.
    virtual std::optional<CableMove> takeCableMove(Time /*now*/) { return std::nullopt; }

protected:
    SimulatedDevice() = default;
    SimulatedDevice(const SimulatedDevice &) = default;
    SimulatedDevice(SimulatedDevice &&) = default;
    SimulatedDevice &operator=(const SimulatedDevice &) = default;
    SimulatedDevice &operator=(SimulatedDevice &&) = default;
};

} // namespace sim
