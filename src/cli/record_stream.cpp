#include "cli/record_stream.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <CLI/CLI.hpp>

#include "cli/positive_option.h"

namespace cli {

void addStreamOptions(CLI::App &command, StreamOptions &options)
{
    command.add_option("--format", options.format, "csv, jsonl (JSON Lines) or raw packets [csv]")
        ->check(CLI::IsMember({"csv", "jsonl", "raw"}).description(""))
        ->type_name("FORMAT");
    command
        .add_option("--fields", options.fields,
                    "Such as euler,rates_z,pressure [all that the device streams]")
        ->type_name("LIST");
    command.add_flag("--no-header", options.noHeader, "Omit the line with names and units");
    command
        .add_option("--rate", options.rateHz,
                    "Print about so many records a second and leave out the others")
        ->check(CLI::Range(1U, 65535U).description(""))
        ->type_name("HZ");
    command
        .add_option_function<double>(
            "--duration",
            [&options](double seconds) {
                // Not the parser's range check, because that accepts NaN.
                if (!(seconds >= 0 && seconds <= kLongestDuration))
                    throw CLI::ValidationError("--duration", "out of range");
                options.durationSeconds = seconds;
            },
            "End after that time")
        ->type_name("SECONDS");
    command
        .add_option_function<std::int64_t>(
            "--count",
            [&options](std::int64_t count) {
                if (count < 1)
                    throw CLI::ValidationError("--count", "must be 1 or more");
                options.count = static_cast<std::uint64_t>(count);
            },
            "End after so many records")
        ->type_name("N");
}

unsigned decimation(unsigned deviceRateHz, std::optional<unsigned> wantedHz)
{
    if (!wantedHz)
        return 1;
    return std::max(
        1U, static_cast<unsigned>(std::lround(static_cast<double>(deviceRateHz) / *wantedHz)));
}

std::string decimationText(unsigned deviceRateHz, unsigned every)
{
    if (every == 1)
        return "every sample, " + std::to_string(deviceRateHz) + " Hz";
    return "one sample in " + std::to_string(every) + ", " + std::to_string(deviceRateHz / every) +
           " Hz of " + std::to_string(deviceRateHz) + " Hz";
}

RecordStream::RecordStream(Output &out, const StreamOptions &options, std::uint16_t outputs)
    : m_out(out)
    , m_format(options.format == "jsonl" ? RecordFormat::Kind::Jsonl : RecordFormat::Kind::Csv,
               parseFields(options.fields, outputs))
    , m_left(options.count.value_or(std::numeric_limits<std::uint64_t>::max()))
{
    if (!options.noHeader && options.format != "raw")
        m_out.write(m_format.header());
}

bool RecordStream::takesOne()
{
    if (m_left == 0)
        return false;
    --m_left;
    return true;
}

void RecordStream::sample(const session::Sample &sample)
{
    if (takesOne())
        m_out.write(m_format.record(sample));
}

void RecordStream::raw(std::span<const unsigned char> packet)
{
    if (takesOne())
        m_out.write({reinterpret_cast<const char *>(packet.data()), packet.size()});
}

} // namespace cli
