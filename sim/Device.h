#pragma once

#include "sim/CalibrationStore.h"
#include "sim/CommandParser.h"
#include "sim/Faults.h"
#include "sim/Memory.h"
#include "sim/Sensors.h"
#include "sim/Transmitter.h"
#include "sim/Unit.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace sim {

struct DeviceOptions
{
    std::uint64_t seed = 1;
    Motion motion = Motion::Hand;
    Settings settings; // initial content of both memories; may hold values that SET rejects
    // Baud rate of the line while the settings hold one that the device does not support.
    std::uint32_t fallbackBaud = 115200;
    std::uint16_t firmwareVersion = 0x0203;
    std::uint16_t hardwareVersion = 0x0100;
    std::uint32_t serialNumber = 0x00C0FFEE;
    std::chrono::milliseconds startUp{100}; // after power-up: drops input, sends nothing
    Faults faults;
};

struct DeviceCounters
{
    std::uint64_t samplesSent = 0;    // data packets queued for transmission
    std::uint64_t samplesSkipped = 0; // data packets dropped because the transmit buffer was full
    std::uint64_t repliesSent = 0;
};

// The simulated device without thread and port: it takes bytes and the current time as arguments
// and returns bytes.
//
// Not thread-safe; the times passed in must not decrease. The protocol is that of
// "driver/protocol.h"; docs/simulator.md describes the additional behaviour.
class Device : public Unit
{
public:
    // Ready at time 0: the start-up delay is already over.
    explicit Device(DeviceOptions options = {});

    // --- Line ---------------------------------------------------------------------------------

    // Bytes that arrive at `now`, sent at hostBaud. Drops them if hostBaud differs from lineBaud().
    void receive(protocol::Bytes bytes, std::uint32_t hostBaud, Time now) override;
    // Processes everything due by `now`: samples, delayed replies, the change of the baud rate.
    void advance(Time now) override;
    // The next bytes whose transmission ends by `now`. Call until the result is empty.
    std::optional<Transmission> transmit(Time now) override;
    // The next time at which advance() or transmit() has work to do.
    Time nextEvent() const override;

    // The current baud rate of the line. Differs from the setting if the device does not support
    // that: see DeviceOptions::fallbackBaud.
    std::uint32_t lineBaud() const override { return m_transmitter.baud(); }

    // Switches the power off and on. Afterwards the stored settings are the working ones.
    void powerCycle(Time now) override;

    // --- Inspection and control ---------------------------------------------------------------

    const Memory &memory() const { return m_memory; }
    // Replaces both memories without a command. The baud rate of the line changes at once.
    void setMemory(const Memory &memory);
    void setSettings(const Settings &working);

    Faults &faults() { return m_options.faults; }
    CalibrationStore &calibrationStore() { return m_store; }
    const Sensors &sensors() const { return m_sensors; }
    const DeviceOptions &options() const { return m_options; }
    bool isCollecting() const { return m_collecting; }
    Time now() const { return m_now; }

    // Every intact command packet received at the right baud rate, answered or not, in order.
    const std::vector<std::vector<unsigned char>> &receivedCommands() const { return m_received; }
    void clearReceivedCommands() { m_received.clear(); }
    const DeviceCounters &counters() const { return m_counters; }
    std::uint64_t samplesSkipped() const override { return m_counters.samplesSkipped; }

private:
    using Payload = std::vector<unsigned char>;

    struct PendingReply
    {
        Time due;
        Payload payload;
    };
    struct BaudChange
    {
        Time due;
        std::uint32_t baud;
        bool answering; // until the reply has been queued
    };

    // Commands: each returns the payload of its reply, empty for no reply.
    void handle(protocol::Bytes packet);
    Payload perform(protocol::Bytes payload, bool refused);
    Payload set(protocol::Bytes payload, bool refused);
    Payload get(protocol::Bytes payload) const;
    Payload status(unsigned char code, bool refused);
    Payload calibrationSize(bool refused) const;
    Payload calibrationData(protocol::Bytes payload, bool refused) const;
    void appendParameter(Payload &answer, unsigned char parameter) const;
    bool store(unsigned char parameter, protocol::Bytes value);

    // Replies, with the configured faults applied.
    void answer(unsigned char code, Payload payload);
    void sendReply(const Payload &payload, Time at);
    void sendReplyPacket(const Payload &payload, Time at);
    void sendPacket(std::vector<unsigned char> packet, unsigned packets, Time at,
                    unsigned samples = 0);
    std::vector<unsigned char> packed(unsigned char type, protocol::Bytes payload);
    void damage(std::vector<unsigned char> &bytes);

    // Time.
    bool isAwake(Time at) const { return at >= m_awakeAt; }
    Time nextStep() const;
    void step(Time at);
    void takeSample(Time at);
    void sendHeldReplies(Time at);
    void collectPoint(Time at);
    void scheduleSamples(Time after);
    void scheduleBaudChange();
    void continueBaudChange(Time at);
    std::uint32_t speedFor(std::uint32_t baud) const;

    DeviceOptions m_options;
    Sensors m_sensors;
    Noise m_lineNoise;
    Memory m_memory;
    CalibrationStore m_store;
    CommandParser m_parser;
    Transmitter m_transmitter;

    Time m_now{0};
    Time m_awakeAt{0};
    Time m_nextSample{0};
    std::optional<BaudChange> m_baudChange;
    std::vector<PendingReply> m_lateReplies;
    std::vector<unsigned char> m_heldReplies; // sent together with the next data packet
    unsigned m_heldCount = 0;

    bool m_collecting = false;
    Time m_nextPoint{0};
    std::vector<std::array<float, 3>> m_points;

    std::uint64_t m_packetCount = 0;
    std::uint64_t m_noiseTick = 0;
    std::vector<std::vector<unsigned char>> m_received;
    DeviceCounters m_counters;
};

} // namespace sim
