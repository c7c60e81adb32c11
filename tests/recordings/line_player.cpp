#include "tests/recordings/line_player.h"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "tests/recordings/driver_call.h"

using namespace std::chrono_literals;
using Kind = recording::RecordedEvent::Kind;
using Clock = std::chrono::steady_clock;

namespace {

// An operation that has not returned this long after the last event that it can wait for never
// returns.
constexpr auto kHopeless = 20s;

QByteArray slice(const std::vector<unsigned char> &bytes, std::size_t begin, std::size_t end)
{
    return {reinterpret_cast<const char *>(bytes.data()) + begin,
            static_cast<qsizetype>(end - begin)};
}

// Two commands contain two bytes without meaning; these and the checksum that includes them are set
// to zero.
QByteArray withoutFiller(QByteArray commands)
{
    for (qsizetype at = 0; at + 12 <= commands.size();) {
        const QByteArray head = commands.mid(at, 6);
        const bool padded = head == QByteArray::fromHex("53430C000D08") ||
                            head == QByteArray::fromHex("53430C000D09");
        if (padded)
            commands.replace(at + 8, 4, QByteArray(4, '\0'));
        at += padded ? 12 : 1;
    }
    return commands;
}

} // namespace

std::string blockText(const std::string &name, const float *values, std::size_t count)
{
    return name + ' ' + valuesText(values, count);
}

// The host's end of the pty: only there the bytes that the driver has not read yet are visible.
struct LinePlayer::HostEnd
{
    explicit HostEnd(const std::string &path)
        : fd(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {
    }
    ~HostEnd() { ::close(fd); }
    HostEnd(const HostEnd &) = delete;
    HostEnd &operator=(const HostEnd &) = delete;

    const int fd;
};

LinePlayer::LinePlayer(imu &driver, recording::Recording recording, Expectation expectation)
    : m_driver(driver)
    , m_recording(std::move(recording))
    , m_expectation(std::move(expectation))
    , m_baud(m_recording.header.baud)
{
    for (const Expectation::Packet &packet : m_expectation.packets)
        m_boundaries.push_back(packet.position);
    std::vector<std::size_t> pieces;
    for (const recording::RecordedEvent &event : m_recording.events) {
        auto &bytes = event.kind == Kind::FromHost ? m_hostBytes : m_unitBytes;
        if (event.kind == Kind::Delivered || event.kind == Kind::FromHost)
            bytes.insert(bytes.end(), event.bytes.begin(), event.bytes.end());
        if (event.kind == Kind::Delivered)
            pieces.push_back(m_unitBytes.size());
        if (event.kind == Kind::Baud || event.kind == Kind::Unplug)
            m_segmentEnds.push_back(m_unitBytes.size());
    }
    m_segmentEnds.push_back(m_unitBytes.size());
    // A check needs the byte after it to be delivered, and that byte must not complete another
    // packet.
    const std::vector<std::size_t> packetEnds = m_boundaries;
    for (const std::size_t piece : pieces) {
        if (!std::binary_search(packetEnds.begin(), packetEnds.end(), piece + 1))
            m_boundaries.push_back(piece);
    }
    std::sort(m_boundaries.begin(), m_boundaries.end());
    m_boundaries.erase(std::unique(m_boundaries.begin(), m_boundaries.end()), m_boundaries.end());
}

LinePlayer::~LinePlayer()
{
    m_driver.disconnect();
}

void LinePlayer::play()
{
    plugIn();
    freshSample(); // drops a sample of the previous line
    while (m_event < m_recording.events.size()) {
        const bool callIsNext = m_nextCall < m_expectation.calls.size() &&
                                m_expectation.calls[m_nextCall].position == m_said;
        if (callIsNext && m_recording.events[m_event].kind == Kind::FromHost)
            call();
        else
            playEvent();
    }
    if (m_nextPacket != m_expectation.packets.size())
        throw Mismatch("not every packet was looked at");
    if (m_nextCall != m_expectation.calls.size())
        throw Mismatch("not every call was made");
}

// --- The device --------------------------------------------------------------------------------

void LinePlayer::plugIn()
{
    m_port = std::make_unique<PtyPort>();
    m_hostEnd = std::make_unique<HostEnd>(m_port->path());
    m_driver.connect(m_port->path(), static_cast<int>(m_baud), 8, 0, 1);
}

void LinePlayer::pullOut()
{
    m_port->hangUp();
    m_driver.disconnect();
    m_hostEnd.reset();
}

void LinePlayer::playEvent()
{
    const recording::RecordedEvent &event = m_recording.events[m_event++];
    m_now = std::max(m_now, event.at);
    switch (event.kind) {
    case Kind::Delivered:
        deliver(m_heard + event.bytes.size());
        return;
    case Kind::Undelivered: // the recorded host has not received it either
        return;
    case Kind::FromHost:
        m_said += event.bytes.size();
        return;
    case Kind::Baud:
        m_baud = event.baud;
        return;
    case Kind::Unplug:
        pullOut();
        return;
    case Kind::PlugIn:
        plugIn();
        return;
    }
}

void LinePlayer::deliver(std::size_t end)
{
    if (m_port->speed() != m_baud)
        throw Mismatch("the port is set to " + std::to_string(m_port->speed()) + " baud");
    m_heard = end;
    while (m_nextBoundary < m_boundaries.size() && m_boundaries[m_nextBoundary] <= end)
        step(m_boundaries[m_nextBoundary++]);
}

// The reader asks for the next byte after it has processed the previous one. So when the driver has
// read one more byte, it has decoded everything up to the boundary.
void LinePlayer::step(std::size_t boundary)
{
    const bool last =
        std::find(m_segmentEnds.begin(), m_segmentEnds.end(), boundary) != m_segmentEnds.end();
    QByteArray bytes = slice(m_unitBytes, m_written, std::max(m_written, boundary));
    if (last)
        bytes += '\0'; // not part of the recording; starts no packet
    else if (m_written <= boundary)
        bytes += static_cast<char>(m_unitBytes[boundary]);
    m_written = last ? boundary : std::max(m_written, boundary + 1);
    if (!m_port->write(bytes))
        throw Mismatch("the driver does not read");
    awaitConsumed();
    check(boundary);
}

void LinePlayer::awaitConsumed() const
{
    const auto deadline = Clock::now() + PtyPort::kDeadline;
    for (;;) {
        pollfd hostEnd{m_hostEnd->fd, POLLIN, 0};
        if (::poll(&hostEnd, 1, 0) == 0)
            return;
        if (Clock::now() > deadline)
            throw Mismatch("the driver does not read");
        std::this_thread::yield();
    }
}

// --- The driver's samples ----------------------------------------------------------------------

std::string LinePlayer::freshSample()
{
    std::string text;
    const auto take = [&](const char *name, std::size_t count, bool (imu::*get)(float *)) {
        std::array<float, 4> values{};
        if ((m_driver.*get)(values.data()))
            text.append(text.empty() ? "" : " ").append(blockText(name, values.data(), count));
    };
    take("rates", 3, &imu::getRates_);
    take("accelerations", 3, &imu::getAccelerations_);
    take("quaternion", 4, &imu::getQuaternion_);
    take("altitude", 1, &imu::getAltitude_);
    take("covariances", 3, &imu::getCovariances_);
    take("euler", 3, &imu::getEuler_);
    take("field", 3, &imu::getMagneticField_);
    take("raw", 3, &imu::getMagneticFieldRaw_);
    return text;
}

void LinePlayer::check(std::size_t position)
{
    std::string expected;
    const auto &packets = m_expectation.packets;
    if (m_nextPacket < packets.size() && packets[m_nextPacket].position == position)
        expected = packets[m_nextPacket++].sample;
    const std::string found = freshSample();
    if (found != expected)
        throw Mismatch("after byte " + std::to_string(position) + "\n  found    " + found +
                       "\n  expected " + expected);
}

// --- The host ----------------------------------------------------------------------------------

void LinePlayer::slept(std::chrono::milliseconds duration)
{
    m_now += duration;
    const auto &events = m_recording.events;
    while (m_event < events.size() && events[m_event].at <= m_now) {
        const bool ofNextCall = events[m_event].kind == Kind::FromHost && m_said == m_callEnd;
        if (ofNextCall)
            break;
        const auto now = m_now;
        playEvent();
        m_now = now;
    }
    const auto waitsSince = m_event < events.size() ? events[m_event].at : events.back().at;
    if (m_now > waitsSince + kHopeless)
        throw Mismatch(m_expectation.calls[m_nextCall - 1].request + " does not return");
}

void LinePlayer::call()
{
    const std::size_t begin = m_said;
    const Expectation::Call &call = m_expectation.calls[m_nextCall++];
    m_callEnd = m_nextCall < m_expectation.calls.size() ? m_expectation.calls[m_nextCall].position
                                                        : m_hostBytes.size();
    m_now = std::max(m_now, m_recording.events[m_event].at);
    const std::string result = perform(m_driver, call.request);
    if (result != call.result)
        throw Mismatch(call.request + "\n  found    " + result + "\n  expected " + call.result);
    compareHostBytes(begin, m_callEnd);
    // Plays the recorded host's remaining bytes of this call, none of the next.
    while (m_event < m_recording.events.size() && m_said < m_callEnd)
        playEvent();
}

void LinePlayer::compareHostBytes(std::size_t begin, std::size_t end)
{
    const QByteArray expected = withoutFiller(slice(m_hostBytes, begin, end));
    QByteArray found = m_port->read(expected.size());
    found += m_port->readAvailable();
    if (withoutFiller(found) != expected)
        throw Mismatch("the driver has sent\n  found    " + found.toHex().toStdString() +
                       "\n  expected " + expected.toHex().toStdString());
}
