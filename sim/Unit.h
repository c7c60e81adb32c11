#pragma once

#include "sim/Time.h"
#include "sim/Transmitter.h"

#include "driver/protocol.h"

#include <cstdint>
#include <optional>

namespace sim {

// What talks at the device's end of a line: bytes in, bytes out, time passed in. It knows neither
// thread nor port. Not thread-safe; time never goes backwards.
class Unit
{
public:
    enum class CableMove { PullOut, PutBack };

    virtual ~Unit() = default;

    // Bytes as they arrive, sent at hostBaud. At another speed than the unit's own they are lost.
    virtual void receive(protocol::Bytes bytes, std::uint32_t hostBaud, Time now) = 0;
    // Lets time pass.
    virtual void advance(Time now) = 0;
    // The next bytes whose last bit is out by `now`; call until empty.
    virtual std::optional<Transmission> transmit(Time now) = 0;
    // When advance() or transmit() has something to do next.
    virtual Time nextEvent() const = 0;
    // The speed the line runs at now.
    virtual std::uint32_t lineBaud() const = 0;
    // Power off and on.
    virtual void powerCycle(Time now) = 0;

    // Data packets for which the line had no room.
    virtual std::uint64_t samplesSkipped() const { return 0; }

    // --- For a unit that has a say in more than its bytes -------------------------------------

    // Whether a host has the port open at the unit's speed: told often, not only when it changes.
    virtual void hostListens(bool /*listens*/, Time /*now*/) {}
    // True if the next bytes shall go out only when the host has read all the others.
    virtual bool waitsForHost() const { return false; }
    // What shall happen to the cable now; handed out once.
    virtual std::optional<CableMove> takeCableMove(Time /*now*/) { return std::nullopt; }

protected:
    Unit() = default;
    Unit(const Unit &) = default;
    Unit(Unit &&) = default;
    Unit &operator=(const Unit &) = default;
    Unit &operator=(Unit &&) = default;
};

} // namespace sim
