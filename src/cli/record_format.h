#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "session/outputs.h"
#include "session/sample.h"

namespace cli {

// One value of a sample, such as the yaw angle.
struct Field
{
    const session::Output *output;
    std::size_t index; // among the values of the output

    std::string name() const; // "euler_yaw", "pressure"
};

// The fields of a list such as "euler,rates_x", or of all outputs in the mask if it is empty.
// Throws a Failure for an unknown name.
std::vector<Field> parseFields(std::string_view list, std::uint16_t outputs);

// The serial number as the window shows it: lower-case hexadecimal.
std::string serialText(std::uint32_t serialNumber);

// Texts of samples, independent of the locale. Each ends with a line feed.
class RecordFormat
{
public:
    enum class Kind { Csv, Jsonl };

    RecordFormat(Kind kind, std::vector<Field> fields);

    // The names and units of the values: the first line.
    std::string header() const;
    // One record: UTC and monotonic time of the packet's first byte in nanoseconds, serial number,
    // values. Values that the packet does not contain are empty (CSV) or absent (JSON).
    std::string record(const session::Sample &sample) const;

private:
    std::string csvRecord(const session::Sample &sample) const;
    std::string jsonRecord(const session::Sample &sample) const;

    Kind m_kind;
    std::vector<Field> m_fields;
};

} // namespace cli
