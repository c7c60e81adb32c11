#pragma once

#include <string>
#include <vector>

// The events that a host must find in a recording: the file that decode.py has written beside it.
struct Expectation
{
    // The end of a packet. `sample` is the text of its blocks, empty if it has none.
    struct Packet
    {
        std::size_t position; // in the device's bytes
        std::string sample;
    };
    struct Call
    {
        std::size_t position; // in the host's bytes
        std::string request;  // operation of the driver and its arguments
        std::string result;
    };

    std::vector<Packet> packets;
    std::vector<Call> calls;

    // The blocks that the driver announces by signals, in order: quaternion, field, raw.
    std::vector<std::string> announcements() const;
};

// Throws std::runtime_error.
Expectation readExpectation(const std::string &path);
