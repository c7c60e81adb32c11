#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace sim {

enum class ReplyShape {
    Whole,  // one packet per reply
    Split,  // the reply to GET is one packet per parameter
    Broken, // each reply packet arrives in two halves, 20 ms apart
    Joined, // each reply is delayed and sent in one piece with the next data packet
};

// Faults of the simulated device. All are off by default; they may be changed at any time.
//
// The keys are command codes; for SET the key is the code of the parameter (DATA_RATE, not SET).
struct Faults
{
    bool silent = false;                      // sends nothing, still executes commands
    std::set<unsigned char> noReply;          // executed without a reply
    std::set<unsigned char> wrongEcho;        // the first byte of the value has its low bit flipped
    std::set<unsigned char> refuse;           // not executed: status 0, or echo of the old value
    std::map<unsigned char, int> ignoreFirst; // number of further commands of a code to ignore
    std::map<unsigned char, std::chrono::milliseconds> lateReply;
    // Sent instead of the reply: the whole payload of the "G" packet, code included.
    std::map<unsigned char, std::vector<unsigned char>> replyPayload;
    ReplyShape replyShape = ReplyShape::Whole;

    // The size of the calibration memory changes to this after the next query for it.
    std::optional<std::size_t> calibrationSizeAfterQuery;

    int corruptEvery = 0; // every n-th packet has its checksum off by one; 0: none
    int noiseBytes = 0;   // number of arbitrary bytes before each packet
    double byteLoss = 0;  // probability that a byte is lost, 0 to 1
    double bitErrors = 0; // probability that a bit is inverted, in both directions, 0 to 1
    // Number of further writes of the stored settings during which the power fails for a moment.
    int powerLossesWhileSaving = 0;
    // Delay between the reply and the new baud rate: drops commands, sends no data.
    std::chrono::milliseconds baudChangeDelay{0};
};

} // namespace sim
