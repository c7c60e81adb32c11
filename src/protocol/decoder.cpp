#include "protocol/decoder.h"

#include "protocol/protocol.h"

using namespace protocol;

namespace {

template <std::size_t N>
void copyFloats(std::array<float, N> &to, const unsigned char *from)
{
    std::memcpy(to.data(), from, sizeof to);
}

constexpr int kTripleStep = 1 + 3 * sizeof(float);
constexpr int kUnknown = 0;

// Largest packet offset, in bytes, at which the payload of a calibration reply may end. The block
// is skipped in longer packets, so it cannot overflow the buffer.
constexpr int kCalibrationEndLimit = static_cast<int>(SampleStore::kCalibrationCapacity);

// Both decoders store the block at `p` and return its size, its code included: the offset to the
// next block.

int decodeDataBlock(const unsigned char *p, SampleStore &store)
{
    switch (*p) {
    case QUATERNION:
        copyFloats(store.quaternion, p + 1);
        return 1 + 4 * sizeof(float);
    case COVARIANCES:
        copyFloats(store.covariances, p + 1);
        return kTripleStep;
    case ACCELERATIONS:
        copyFloats(store.accelerations, p + 1);
        return kTripleStep;
    case RATES:
        copyFloats(store.rates, p + 1);
        return kTripleStep;
    case EULER:
        copyFloats(store.euler, p + 1);
        return kTripleStep;
    case MAGNETIC_FIELD:
        copyFloats(store.magneticField, p + 1);
        return kTripleStep;
    case MAGNETIC_FIELD_RAW:
        copyFloats(store.magneticFieldRaw, p + 1);
        return kTripleStep;
    case ALTITUDE:
        store.altitude = readField<float>(p + 1);
        return 1 + sizeof(float);
    case RESERVED_22:
        return 1 + 36;
    default:
        return kUnknown;
    }
}

// Returns the size of the block in bytes, including its code.
int storeCalibrationRecords(const unsigned char *p, int available, SampleStore &store)
{
    constexpr int kRecordSize = 3 * sizeof(float);
    int offset = 1;
    int floats = 0;
    for (; offset < available; offset += kRecordSize, floats += 3)
        std::memcpy(&store.calibration[static_cast<std::size_t>(floats)], p + offset, kRecordSize);
    store.calibrationFloatCount = floats;
    store.fresh.set(CALIBRATION_DATA);
    return offset;
}

int decodeReplyBlock(const unsigned char *p, int index, int end, SampleStore &store)
{
    switch (*p) {
    case BAUD_RATE:
        store.baudRate = readField<std::uint32_t>(p + 1);
        store.fresh.set(BAUD_RATE);
        return 5;
    case DATA_RATE:
        store.dataRate = readField<std::uint16_t>(p + 1);
        store.fresh.set(DATA_RATE);
        return 3;
    case OUTPUTS:
        store.outputs = readField<std::uint16_t>(p + 1);
        store.fresh.set(OUTPUTS);
        return 3;
    case SAVE_SETTINGS:
    case FACTORY_RESET:
    case START_CALIBRATION:
    case STOP_CALIBRATION:
        if (p[1] == 1)
            store.fresh.set(*p);
        return 2;
    case VERSIONS:
        store.firmwareVersion = readField<std::uint16_t>(p + 1);
        store.hardwareVersion = readField<std::uint16_t>(p + 3);
        store.fresh.set(VERSIONS);
        return 5;
    case SERIAL_NUMBER:
        store.serialNumber = readField<std::uint32_t>(p + 1);
        store.fresh.set(SERIAL_NUMBER);
        return 5;
    case MAG_CALIBRATION:
        copyFloats(store.magneticBias, p + 1);
        copyFloats(store.magneticMatrix, p + 13);
        store.fresh.set(MAG_CALIBRATION);
        return 49;
    case CALIBRATION_DATA:
        return end > kCalibrationEndLimit ? 1 : storeCalibrationRecords(p, end - index, store);
    case CALIBRATION_DATA_SIZE:
        store.calibrationDataSize = readField<std::uint32_t>(p + 1);
        store.fresh.set(CALIBRATION_DATA_SIZE);
        // Returns 1, so the four value bytes are decoded again as codes. Existing devices have
        // always been read this way.
        return 1;
    case ZERO_THRESHOLD:
        store.zeroThreshold = readField<float>(p + 1);
        store.fresh.set(ZERO_THRESHOLD);
        return 5;
    default:
        return 1;
    }
}

} // namespace

int decoder::storeDataBlock(const unsigned char *block, SampleStore &store)
{
    const int size = decodeDataBlock(block, store);
    if (size != kUnknown)
        store.fresh.set(*block);
    return size;
}

void decoder::storeReply(const unsigned char *packet, int end, SampleStore &store)
{
    for (int i = static_cast<int>(kHeaderSize); i < end;)
        i += decodeReplyBlock(packet + i, i, end, store);
}
