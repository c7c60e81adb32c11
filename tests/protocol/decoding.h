#pragma once

#include <algorithm>
#include <array>
#include <vector>

#include <QByteArray>
#include <QList>

#include "protocol/decoder.h"

// Decodes packets that a test writes out, and records what the decoder announces.
namespace protocol_test {

using Floats = QList<float>;

template <std::size_t N>
Floats list(const std::array<float, N> &values)
{
    return {values.begin(), values.end()};
}

// Empty if the block does not consist of floats.
inline Floats blockValues(const SampleStore &store, int block)
{
    switch (block) {
    case 0:
        return list(store.rates);
    case 1:
        return list(store.accelerations);
    case 2:
        return list(store.quaternion);
    case 3:
        return {store.altitude};
    case 4:
        return list(store.covariances);
    case 5:
        return list(store.euler);
    case 6:
        return list(store.magneticField);
    case 14:
        return list(store.magneticFieldRaw);
    default:
        return {};
    }
}

// A decoded block, with the flag at that moment.
struct Announced
{
    int block;
    Floats values;
    bool flagWasSet;
};

struct Decoding
{
    // Decodes the bytes as one packet; in memory `behind` follows it, then zeros.
    bool operator()(const QByteArray &bytes, const QByteArray &behind = {})
    {
        QByteArray memory = bytes + behind;
        memory.append(
            std::max<qsizetype>(0, bytes.size() + qsizetype(kDecoderPadding) - memory.size()),
            '\0');
        return decodePacket(
            reinterpret_cast<const unsigned char *>(memory.constData()),
            static_cast<int>(bytes.size()), store, [this](protocol::BlockCode block) {
                announced.push_back({block, blockValues(store, block), store.fresh.test(block)});
            });
    }

    QList<int> flags() const
    {
        QList<int> set;
        for (int i = 0; i < protocol::kBlockCodeCount; ++i) {
            if (store.fresh.test(i))
                set.append(i);
        }
        return set;
    }

    SampleStore store;
    std::vector<Announced> announced;
};

} // namespace protocol_test
