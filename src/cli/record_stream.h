#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "cli/output.h"
#include "cli/record_format.h"

namespace CLI {
class App;
}

namespace cli {

struct StreamOptions
{
    std::string format = "csv"; // csv, jsonl or raw
    std::string fields;         // empty: all that the device streams
    bool noHeader = false;
    std::optional<unsigned> rateHz; // decimates to about this rate
    std::optional<double> durationSeconds;
    std::optional<std::uint64_t> count; // of records
};

// --format, --fields, --no-header, --rate, --duration, --count.
void addStreamOptions(CLI::App &command, StreamOptions &options);

// One sample in how many is kept, at least 1.
unsigned decimation(unsigned deviceRateHz, std::optional<unsigned> wantedHz);
// In words: "one sample in 2, 50 Hz of 100 Hz".
std::string decimationText(unsigned deviceRateHz, unsigned every);

// Keeps the first sample and then each n-th.
class Decimator
{
public:
    explicit Decimator(unsigned every)
        : m_every(every)
    {
    }
    bool isWanted() { return m_index++ % m_every == 0; }

private:
    unsigned m_every;
    std::uint64_t m_index = 0;
};

// Writes a header, then samples as records or packets as they are, until `count` is reached.
class RecordStream
{
public:
    // `outputs`: those that the devices stream. The output is borrowed.
    RecordStream(Output &out, const StreamOptions &options, std::uint16_t outputs);

    void sample(const session::Sample &sample);
    void raw(std::span<const unsigned char> packet);
    bool isComplete() const { return m_left == 0; }

private:
    bool takesOne();

    Output &m_out;
    RecordFormat m_format;
    std::uint64_t m_left;
};

} // namespace cli
