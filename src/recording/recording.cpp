#include "recording/recording.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fstream>
#include <ostream>
#include <set>

namespace recording {

namespace {

using Kind = RecordedEvent::Kind;

constexpr std::string_view kTitle = "vornix-recording ";
constexpr std::string_view kVersion = "1";
// A month. A longer time is an error in the file.
constexpr std::int64_t kLongestUs = 31LL * 24 * 3600 * 1'000'000;

struct Mark
{
    std::string_view word;
    Kind kind;
};
constexpr std::array<Mark, 6> kMarks{{{"<", Kind::Delivered},
                                      {"!", Kind::Undelivered},
                                      {">", Kind::FromHost},
                                      {"baud", Kind::Baud},
                                      {"unplug", Kind::Unplug},
                                      {"plug", Kind::PlugIn}}};

bool carriesBytes(Kind kind)
{
    return kind == Kind::Delivered || kind == Kind::Undelivered || kind == Kind::FromHost;
}

// --- Reading -----------------------------------------------------------------------------------

class Parser
{
public:
    explicit Parser(std::string_view text)
        : m_rest(text)
    {
    }

    Recording parse()
    {
        Recording recording;
        parseTitle();
        parseHeader(recording.header);
        while (nextLine()) {
            if (!m_line.empty() && m_line.front() != '#')
                recording.events.push_back(parseEvent());
        }
        return recording;
    }

private:
    [[noreturn]] void fail(const std::string &problem) const
    {
        throw RecordingError(m_number, problem);
    }

    bool nextLine()
    {
        if (m_rest.empty())
            return false;
        ++m_number;
        const std::size_t end = std::min(m_rest.find('\n'), m_rest.size());
        m_line = m_rest.substr(0, end);
        m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
        return true;
    }

    // Removes and returns the text up to the next space. Removes the space too.
    std::string_view nextWord()
    {
        const std::size_t end = std::min(m_line.find(' '), m_line.size());
        const std::string_view word = m_line.substr(0, end);
        m_line.remove_prefix(std::min(end + 1, m_line.size()));
        return word;
    }

    template <typename T>
    T number(std::string_view text, const char *what) const
    {
        T value{};
        const std::string_view digits = text.starts_with("0x") ? text.substr(2) : text;
        const int base = digits.size() == text.size() ? 10 : 16;
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
        if (error != std::errc() || end != digits.data() + digits.size())
            fail(std::string("bad ") + what + ": " + printable(text));
        return value;
    }

    float threshold(std::string_view text) const
    {
        float value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
            fail("bad threshold: " + printable(text));
        return value;
    }

    std::uint32_t baud(std::string_view text) const
    {
        const auto value = number<std::uint32_t>(text, "baud");
        if (value == 0)
            fail("bad baud: 0");
        return value;
    }

    // Text of the file for an error message. The file may contain any bytes, so the text is
    // shortened and unprintable characters are replaced.
    static std::string printable(std::string_view text)
    {
        constexpr std::size_t kShown = 40;
        std::string shown(text.substr(0, kShown));
        std::replace_if(
            shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
        return text.size() > kShown ? shown + "..." : shown;
    }

    void parseTitle()
    {
        if (!nextLine() || !m_line.starts_with(kTitle))
            throw RecordingError(1, "not a recording");
        m_line.remove_prefix(kTitle.size());
        if (m_line != kVersion)
            fail("version " + printable(m_line) + " is not known");
    }

    void parseHeader(RecordingHeader &header)
    {
        std::set<std::string_view> seen;
        while (nextLine() && !m_line.empty()) {
            const std::size_t colon = m_line.find(": ");
            if (colon == std::string_view::npos)
                fail("no \"key: value\", and no empty line after the header");
            const std::string_view key = m_line.substr(0, colon);
            if (!seen.insert(key).second)
                fail(printable(key) + " is there twice");
            take(header, key, m_line.substr(colon + 2));
        }
        if (!seen.contains("baud"))
            fail("the header names no baud");
    }

    void take(RecordingHeader &header, std::string_view key, std::string_view value) const
    {
        if (key == "baud")
            header.baud = baud(value);
        else if (key == "rate")
            header.rateHz = number<std::uint16_t>(value, "rate");
        else if (key == "outputs")
            header.outputs = number<std::uint16_t>(value, "outputs");
        else if (key == "threshold")
            header.zeroThreshold = threshold(value);
        else if (key == "motion")
            header.motion = value;
        else if (key == "seed")
            header.seed = number<std::uint64_t>(value, "seed");
        else if (key == "serial")
            header.serialNumber = number<std::uint32_t>(value, "serial");
        else if (key == "faults")
            header.faults = value;
        else
            fail("unknown key " + printable(key));
    }

    RecordedEvent parseEvent()
    {
        RecordedEvent event;
        event.at = parseTime();
        event.kind = parseKind();
        if (carriesBytes(event.kind))
            event.bytes = parseBytes();
        else if (event.kind == Kind::Baud)
            event.baud = baud(m_line);
        else if (!m_line.empty())
            fail("nothing may follow: " + printable(m_line));
        followCable(event.kind);
        return event;
    }

    std::chrono::microseconds parseTime()
    {
        const std::string_view word = nextWord();
        if (word.starts_with('0') && word.size() > 1)
            fail("bad time: " + printable(word));
        const auto at = number<std::int64_t>(word, "time");
        if (at < 0 || at > kLongestUs)
            fail("bad time: " + printable(word));
        if (at < m_lastUs)
            fail("earlier than the line before");
        m_lastUs = at;
        return std::chrono::microseconds(at);
    }

    Kind parseKind()
    {
        const std::string_view word = nextWord();
        const auto found = std::find_if(kMarks.begin(), kMarks.end(),
                                        [&](const Mark &mark) { return mark.word == word; });
        if (found == kMarks.end())
            fail("unknown event: " + printable(word));
        return found->kind;
    }

    std::vector<unsigned char> parseBytes() const
    {
        if (m_line.empty() || m_line.size() % 2 != 0)
            fail(m_line.empty() ? "no bytes" : "half a byte");
        std::vector<unsigned char> bytes(m_line.size() / 2);
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] =
                static_cast<unsigned char>(nibble(m_line[2 * i]) << 4 | nibble(m_line[2 * i + 1]));
        return bytes;
    }

    int nibble(char digit) const
    {
        if (digit >= '0' && digit <= '9')
            return digit - '0';
        if (digit >= 'a' && digit <= 'f')
            return digit - 'a' + 10;
        fail("bad hex digit: " + printable({&digit, 1}));
    }

    void followCable(Kind kind)
    {
        if (m_unplugged && (carriesBytes(kind) || kind == Kind::Unplug))
            fail("the cable is out");
        if (!m_unplugged && kind == Kind::PlugIn)
            fail("the cable is in");
        if (kind != Kind::Baud)
            m_unplugged = kind == Kind::Unplug;
    }

    std::string_view m_rest;
    std::string_view m_line;
    std::size_t m_number = 0;
    std::int64_t m_lastUs = 0;
    bool m_unplugged = false;
};

} // namespace

RecordingError::RecordingError(std::size_t line, const std::string &problem)
    : std::runtime_error("line " + std::to_string(line) + ": " + problem)
    , m_line(line)
{
}

Recording parseRecording(std::string_view text)
{
    return Parser(text).parse();
}

Recording readRecording(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text;
    std::array<char, 4096> piece{};
    while (file.read(piece.data(), piece.size()) || file.gcount() > 0)
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    if (!file.eof() || file.bad())
        throw std::runtime_error("cannot read " + path);
    try {
        return parseRecording(text);
    } catch (const RecordingError &error) {
        throw std::runtime_error(path + ", " + error.what());
    }
}

// --- Writing -----------------------------------------------------------------------------------

namespace {

std::string hex(const std::vector<unsigned char> &bytes)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const unsigned char byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

template <typename T>
std::string shortest(T value, auto... format)
{
    std::array<char, 64> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value, format...);
    return {text.data(), result.ptr};
}

} // namespace

// Formats numbers without the stream, because its locale may group digits.
void writeHeader(std::ostream &out, const RecordingHeader &header)
{
    out << kTitle << kVersion << "\nbaud: " << shortest(header.baud)
        << "\nrate: " << shortest(header.rateHz) << "\noutputs: 0x" << shortest(header.outputs, 16)
        << "\nthreshold: " << shortest(header.zeroThreshold) << "\nmotion: " << header.motion
        << "\nseed: " << shortest(header.seed) << "\nserial: 0x"
        << shortest(header.serialNumber, 16) << "\nfaults: " << header.faults << "\n\n";
}

void writeEvent(std::ostream &out, const RecordedEvent &event)
{
    const auto mark = std::find_if(kMarks.begin(), kMarks.end(),
                                   [&](const Mark &m) { return m.kind == event.kind; });
    out << shortest(event.at.count()) << ' ' << mark->word;
    if (carriesBytes(event.kind))
        out << ' ' << hex(event.bytes);
    else if (event.kind == Kind::Baud)
        out << ' ' << shortest(event.baud);
    out << '\n';
}

} // namespace recording
