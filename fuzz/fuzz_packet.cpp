// One packet with any stated length, through the driver's packet function and through the decoder
// alone, whose whole sample store can be compared.

#include <algorithm>
#include <map>
#include <vector>

#include "driver/imu.h"
#include "fuzz/check.h"
#include "fuzz/input.h"
#include "fuzz/packets.h"
#include "fuzz/receiver_model.h"

namespace {

template <typename Values>
bool same(const Values &stored, const std::vector<float> &expected)
{
    return expected.empty() ||
           (stored.size() >= expected.size() &&
            std::memcmp(stored.data(), expected.data(), expected.size() * sizeof(float)) == 0);
}

void checkBlocks(const SampleStore &store, const fuzz::ReceiverModel &model)
{
    FUZZ_CHECK(same(store.rates, model.floats[0]));
    FUZZ_CHECK(same(store.accelerations, model.floats[1]));
    FUZZ_CHECK(same(store.quaternion, model.floats[2]));
    FUZZ_CHECK(same(std::array{store.altitude}, model.floats[3]));
    FUZZ_CHECK(same(store.covariances, model.floats[4]));
    FUZZ_CHECK(same(store.euler, model.floats[5]));
    FUZZ_CHECK(same(store.magneticField, model.floats[6]));
    FUZZ_CHECK(same(store.magneticFieldRaw, model.floats[14]));
}

void checkReplies(const SampleStore &store, const fuzz::ReceiverModel &model)
{
    FUZZ_CHECK(store.baudRate == model.integers[7]);
    FUZZ_CHECK(store.dataRate == model.integers[8]);
    FUZZ_CHECK(store.outputs == model.integers[9]);
    FUZZ_CHECK(store.firmwareVersion == model.integers[16]);
    FUZZ_CHECK(store.hardwareVersion == model.hardwareVersion);
    FUZZ_CHECK(store.serialNumber == model.integers[17]);
    FUZZ_CHECK(store.calibrationDataSize == model.integers[21]);
    FUZZ_CHECK(same(std::array{store.zeroThreshold.load()}, model.floats[23]));
    FUZZ_CHECK(same(store.calibration, model.calibration));
    FUZZ_CHECK(store.calibrationFloatCount == static_cast<int>(model.calibration.size()));

    std::array<float, 12> magnetic;
    std::copy(store.magneticBias.begin(), store.magneticBias.end(), magnetic.begin());
    std::copy(store.magneticMatrix.begin(), store.magneticMatrix.end(), magnetic.begin() + 3);
    FUZZ_CHECK(same(magnetic, model.floats[15]));
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t maxSize, unsigned seed)
{
    const std::size_t mutated = LLVMFuzzerMutate(data, size, maxSize);
    if (seed % 5 != 0 && mutated > 1)
        fuzz::repairPackets({data + 1, mutated - 1});
    return mutated;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz::Input input(data, size);
    // How many of the bytes stand in memory after the packet.
    const std::size_t behind = input.byte();
    const protocol::Bytes bytes = input.rest();
    const std::size_t length = bytes.size() - std::min(behind, bytes.size());

    // Exactly the memory that the decoder may read, so a sanitizer detects any byte beyond.
    std::vector<unsigned char> memory(length + kDecoderPadding);
    std::copy_n(bytes.begin(), std::min(bytes.size(), memory.size()), memory.begin());
    const auto signedLength = static_cast<int>(length);

    fuzz::ReceiverModel model;
    const bool expected = model.decode(memory.data(), signedLength);

    SampleStore store;
    std::map<protocol::BlockCode, int> blocks;
    FUZZ_CHECK(decodePacket(memory.data(), signedLength, store,
                            [&](protocol::BlockCode code) { ++blocks[code]; }) == expected);
    checkBlocks(store, model);
    checkReplies(store, model);
    for (int code = -1; code <= protocol::kBlockCodeCount; ++code)
        FUZZ_CHECK(store.fresh.test(code) == (model.fresh.count(code) != 0));
    FUZZ_CHECK(blocks[protocol::QUATERNION] == model.quaternions);
    FUZZ_CHECK(blocks[protocol::MAGNETIC_FIELD] == model.fields);
    FUZZ_CHECK(blocks[protocol::MAGNETIC_FIELD_RAW] == model.rawFields);

    imu driver(nullptr);
    FUZZ_CHECK(driver.processPacket(memory.data(), signedLength) == expected);
    return 0;
}
