#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "session/sample.h"

namespace session {

// One kind of block that the device can stream.
struct Output
{
    std::uint16_t bit; // in the outputs mask
    std::string_view name;
    std::string_view unit;
    std::size_t blockSize;                      // bytes on the line, with the block code
    std::array<std::string_view, 4> components; // names of its values; unused ones are empty
};

// All of them, in ascending order of their bits. The sync output has no values.
std::span<const Output> allOutputs();
// Null if there is none of that name.
const Output *outputNamed(std::string_view name);

// The values of an output in a sample, empty for the sync output. Meaningless unless
// sample.has(output.bit). Points into the sample.
std::span<const float> valuesOf(const Sample &sample, const Output &output);

// The share of the line that samples of these outputs take, 1 being all that it can carry. A byte
// takes ten bits; sync blocks come once a second. NaN for a baud rate of 0.
double lineLoad(std::uint16_t outputs, unsigned rateHz, unsigned baud);

} // namespace session
