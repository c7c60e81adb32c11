#include "driver/decoder.h"

#include "driver/protocol.h"

using namespace protocol;

namespace {

template <std::size_t N>
void copyFloats(std::array<float, N> &to, const unsigned char *from)
{
    std::memcpy(to.data(), from, sizeof to);
}

constexpr int kTripleStep = 1 + 3 * sizeof(float);

// Largest packet offset, in bytes, at which the payload of a calibration reply may end. The block
// is skipped in longer packets, so it cannot overflow the buffer.
constexpr int kCalibrationEndLimit = static_cast<int>(SampleStore::kCalibrationCapacity);

// Both decoders process the block at `p` and return the offset from there to the next block.

int decodeDataBlock(const unsigned char *p, SampleStore &store, SampleListener &listener)
{
    const auto triple = [&](std::array<float, 3> &to) {
        copyFloats(to, p + 1);
        store.fresh.set(*p);
        return kTripleStep;
    };

    switch (*p) {
    case QUATERNION:
        copyFloats(store.quaternion, p + 1);
        store.fresh.set(QUATERNION);
        listener.quaternionDecoded(store.quaternion);
        return 17;
    case COVARIANCES:
        return triple(store.covariances);
    case ACCELERATIONS:
        return triple(store.accelerations);
    case RATES:
        return triple(store.rates);
    case EULER:
        return triple(store.euler);
    case MAGNETIC_FIELD:
        triple(store.magneticField);
        listener.magneticFieldDecoded(store.magneticField);
        return kTripleStep;
    case MAGNETIC_FIELD_RAW:
        triple(store.magneticFieldRaw);
        listener.magneticFieldRawDecoded(store.magneticFieldRaw);
        return kTripleStep;
    case ALTITUDE:
        store.altitude = readField<float>(p + 1);
        store.fresh.set(ALTITUDE);
        return 5;
    case RESERVED_22:
        store.fresh.set(RESERVED_22);
        return 37;
    default:
        return 1;
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

bool decodePacket(const unsigned char *packet, int length, SampleStore &store,
                  SampleListener &listener)
{
    if (!isIntact(packet, length))
        return false;

    const int end = length - static_cast<int>(kChecksumSize);
    const unsigned char type = packet[1];
    if (type != kDataType && type != kReplyType)
        return true;
    for (int i = static_cast<int>(kHeaderSize); i < end;) {
        i += type == kDataType ? decodeDataBlock(packet + i, store, listener)
                               : decodeReplyBlock(packet + i, i, end, store);
    }
    return true;
}
