#pragma once

#include <random>
#include <vector>

#include "protocol/protocol.h"

// Packets of a device at full output: 25 floats in eight blocks, 106 bytes a packet.
inline std::vector<unsigned char> sampleStream(int packets)
{
    using namespace protocol;
    std::mt19937 random(1);
    std::normal_distribution<float> value;
    std::vector<unsigned char> stream;
    for (int i = 0; i < packets; ++i) {
        std::vector<unsigned char> payload;
        for (const BlockCode code : {RATES, ACCELERATIONS, QUATERNION, ALTITUDE, COVARIANCES, EULER,
                                     MAGNETIC_FIELD, MAGNETIC_FIELD_RAW}) {
            payload.push_back(code);
            const int floats = code == QUATERNION ? 4 : code == ALTITUDE ? 1 : 3;
            for (int k = 0; k < floats; ++k) {
                payload.resize(payload.size() + sizeof(float));
                writeField(&payload[payload.size() - sizeof(float)], value(random));
            }
        }
        std::vector<unsigned char> packet(payload.size() + kFrameSize);
        preparePacket(kDataType, payload, packet.data());
        stream.insert(stream.end(), packet.begin(), packet.end());
    }
    return stream;
}
