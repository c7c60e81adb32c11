#pragma once

#include "protocol/protocol.h"
#include "sim/line/simulated_time.h"
#include "sim/line/transmitter.h"

namespace sim {

// Interface of an object that follows the traffic of a PtyServer, for example to record it. Called
// on the server's threads, with its mutex locked: an implementation must not call the server.
class LineObserver
{
public:
    // A host has the port open at the baud rate of the device. Called repeatedly.
    virtual void hostAttached(Time now) = 0;
    // `delivered`: a host received the bytes intact.
    virtual void sent(const Transmission &transmission, bool delivered) = 0;
    virtual void received(protocol::Bytes bytes, Time now) = 0;
    virtual void unplugged(Time now) = 0;
    virtual void pluggedIn(Time now) = 0;

protected:
    LineObserver() = default;
    LineObserver(const LineObserver &) = default;
    LineObserver &operator=(const LineObserver &) = default;
    ~LineObserver() = default;
};

} // namespace sim
