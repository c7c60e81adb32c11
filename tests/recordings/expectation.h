#pragma once

#include <string>
#include <vector>

// What a host has to find in a recording: the file that decode.py has written beside it.
struct Expectation
{
    // The end of a packet. `sample` is what it brings, block by block, or empty.
    struct Packet
    {
        std::size_t position; // of the unit's bytes
        std::string sample;
    };
    struct Call
    {
        std::size_t position; // of the host's bytes
        std::string request;  // an operation of the driver and its arguments
        std::string result;
    };

    std::vector<Packet> packets;
    std::vector<Call> calls;

    // The blocks that the driver announces by signals, in order: quaternion, field, raw.
    std::vector<std::string> announcements() const;
};

// Throws std::runtime_error.
Expectation readExpectation(const std::string &path);
