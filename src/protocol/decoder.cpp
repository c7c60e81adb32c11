#include "protocol/decoder.h"

#include "protocol/protocol.h"

using namespace protocol;

namespace {

// Largest packet offset, in bytes, at which the payload of a calibration reply may end. The block
// is skipped in longer packets, so it cannot overflow the buffer.
constexpr int kCalibrationEndLimit = static_cast<int>(SampleStore::kCalibrationCapacity);

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

// Stores the block at `p` and returns the offset to the next block.
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
        std::memcpy(store.magneticBias.data(), p + 1, sizeof store.magneticBias);
        std::memcpy(store.magneticMatrix.data(), p + 13, sizeof store.magneticMatrix);
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

void decoder::storeReply(const unsigned char *packet, int end, SampleStore &store)
{
    for (int i = static_cast<int>(kHeaderSize); i < end;)
        i += decodeReplyBlock(packet + i, i, end, store);
}
