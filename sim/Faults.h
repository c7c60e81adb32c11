#pragma once

#include <chrono>
#include <map>
#include <set>
#include <vector>

namespace sim {

enum class ReplyShape {
    Whole,  // one packet an answer
    Split,  // the answer to GET comes as one packet a parameter
    Broken, // a packet comes in two halves, 20 ms apart
    Joined, // a reply waits for the next data packet and goes out in one piece with it
};

// What the unit does wrong. All off at first; may be changed at any time.
//
// A "code" is that of the command; for SET it is that of the parameter (DATA_RATE, not SET).
struct Faults
{
    bool silent = false;                      // sends nothing at all, hears everything
    std::set<unsigned char> noReply;          // done, but not answered
    std::set<unsigned char> wrongEcho;        // the first byte of the value has its low bit flipped
    std::set<unsigned char> refuse;           // not done: status 0, or the standing value echoed
    std::map<unsigned char, int> ignoreFirst; // how many more commands of a code go unheard
    std::map<unsigned char, std::chrono::milliseconds> lateReply;
    // Sent instead of the answer: the whole payload of the "G" packet, code included.
    std::map<unsigned char, std::vector<unsigned char>> replyPayload;
    ReplyShape replyShape = ReplyShape::Whole;

    int corruptEvery = 0; // every n-th packet has its checksum off by one; 0: none
    int noiseBytes = 0;   // arbitrary bytes before each packet
    double byteLoss = 0;  // the chance of each byte to vanish
    std::chrono::milliseconds baudChangeDelay{0}; // deaf and mute before it is back at a new speed
};

} // namespace sim
