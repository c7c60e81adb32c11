#include "cli/record_format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include <nlohmann/json.hpp>

#include "cli/exit_status.h"

namespace cli {

namespace {

using session::Sample;

// Single precision throughout, so that a value is printed with the digits that it has.
using Json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool,
                                  std::int64_t, std::uint64_t, float>;

template <typename T>
void append(std::string &text, T value)
{
    std::array<char, 32> digits;
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    text.append(digits.data(), end);
}

std::int64_t utcNs(const Sample &sample)
{
    return sample.time.utc.time_since_epoch().count();
}

std::int64_t monotonicNs(const Sample &sample)
{
    return std::chrono::nanoseconds(sample.time.monotonic.time_since_epoch()).count();
}

std::size_t valueCount(const session::Output &output)
{
    return session::valuesOf(Sample{}, output).size();
}

void appendAll(std::vector<Field> &fields, const session::Output &output)
{
    for (std::size_t i = 0; i < valueCount(output); ++i)
        fields.push_back({&output, i});
}

void appendNamed(std::vector<Field> &fields, std::string_view name)
{
    const std::size_t before = fields.size();
    for (const session::Output &output : session::allOutputs()) {
        if (output.name == name)
            appendAll(fields, output);
        for (std::size_t i = 0; i < valueCount(output) && output.name != name; ++i) {
            if (Field{&output, i}.name() == name)
                fields.push_back({&output, i});
        }
    }
    if (fields.size() == before)
        throw Failure(ExitStatus::Usage, "--fields: unknown field \"" + std::string(name) + "\"");
}

// How one field appears in a JSON record: one of an output that is wanted whole is in its array.
bool isWhole(const std::vector<Field> &fields, const session::Output &output)
{
    const auto wanted = std::count_if(fields.begin(), fields.end(),
                                      [&](const Field &f) { return f.output == &output; });
    return static_cast<std::size_t>(wanted) == valueCount(output);
}

} // namespace

std::string Field::name() const
{
    std::string text(output->name);
    std::replace(text.begin(), text.end(), '-', '_');
    const std::string_view component = output->components[index];
    return component.empty() ? text : text + "_" + std::string(component);
}

std::vector<Field> parseFields(std::string_view list, std::uint16_t outputs)
{
    std::vector<Field> fields;
    if (list.empty()) {
        for (const session::Output &output : session::allOutputs()) {
            if ((outputs & output.bit) != 0)
                appendAll(fields, output);
        }
        return fields;
    }
    while (true) {
        const std::size_t comma = list.find(',');
        appendNamed(fields, list.substr(0, comma));
        if (comma == std::string_view::npos)
            return fields;
        list.remove_prefix(comma + 1);
    }
}

std::string serialText(std::uint32_t serialNumber)
{
    std::array<char, 16> digits;
    const auto [end, error] =
        std::to_chars(digits.data(), digits.data() + digits.size(), serialNumber, 16);
    return {digits.data(), end};
}

RecordFormat::RecordFormat(Kind kind, std::vector<Field> fields)
    : m_kind(kind)
    , m_fields(std::move(fields))
{
}

std::string RecordFormat::header() const
{
    if (m_kind == Kind::Jsonl) {
        Json units = Json::object();
        for (const Field &field : m_fields)
            units[isWhole(m_fields, *field.output) ? std::string(field.output->name)
                                                   : field.name()] = field.output->unit;
        return Json{{"units", std::move(units)}}.dump() + "\n";
    }
    std::string line = "time_utc_ns,time_monotonic_ns,serial";
    for (const Field &field : m_fields) {
        line += ',';
        line += field.name();
        if (field.output->unit != "1")
            line += " [" + std::string(field.output->unit) + "]";
    }
    return line + "\n";
}

std::string RecordFormat::record(const Sample &sample) const
{
    return m_kind == Kind::Csv ? csvRecord(sample) : jsonRecord(sample);
}

std::string RecordFormat::csvRecord(const Sample &sample) const
{
    std::string line;
    append(line, utcNs(sample));
    line += ',';
    append(line, monotonicNs(sample));
    line += ',' + serialText(sample.serialNumber);
    for (const Field &field : m_fields) {
        line += ',';
        if (sample.has(field.output->bit))
            append(line, session::valuesOf(sample, *field.output)[field.index]);
    }
    return line + "\n";
}

std::string RecordFormat::jsonRecord(const Sample &sample) const
{
    Json record{{"time_utc_ns", utcNs(sample)},
                {"time_monotonic_ns", monotonicNs(sample)},
                {"serial", serialText(sample.serialNumber)}};
    for (const Field &field : m_fields) {
        if (!sample.has(field.output->bit))
            continue;
        const auto values = session::valuesOf(sample, *field.output);
        const std::string name(field.output->name);
        if (!isWhole(m_fields, *field.output))
            record[field.name()] = values[field.index];
        else if (values.size() == 1)
            record[name] = values[0];
        else
            record[name] = std::vector<float>(values.begin(), values.end());
    }
    return record.dump() + "\n";
}

} // namespace cli
