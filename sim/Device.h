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
    Settings settings; // what both memories hold at first; any value, also ones it would refuse
    // The line's speed while the settings name one that the unit's port does not have.
    std::uint32_t fallbackBaud = 115200;
    std::uint16_t firmwareVersion = 0x0203;
    std::uint16_t hardwareVersion = 0x0100;
    std::uint32_t serialNumber = 0x00C0FFEE;
    std::chrono::milliseconds startUp{100}; // deaf and mute after the power comes back
    Faults faults;
};

struct DeviceCounters
{
    std::uint64_t samplesSent = 0;    // data packets given to the line
    std::uint64_t samplesSkipped = 0; // data packets for which the line had no room
    std::uint64_t repliesSent = 0;
};

// The unit itself: bytes in, bytes out, time passed in. It knows neither thread nor port.
//
// Not thread-safe; time never goes backwards. The protocol is that of "driver/protocol.h"; what
// the unit adds to it is told in docs/simulator.md.
class Device : public Unit
{
public:
    // Powered up long before time 0: ready at once.
    explicit Device(DeviceOptions options = {});

    // --- Line ---------------------------------------------------------------------------------

    // Bytes as they arrive, sent at hostBaud. At another speed than the unit's own they are lost.
    void receive(protocol::Bytes bytes, std::uint32_t hostBaud, Time now) override;
    // Lets time pass: takes samples, sends late replies, changes speed.
    void advance(Time now) override;
    // The next bytes whose last bit is out by `now`; call until empty.
    std::optional<Transmission> transmit(Time now) override;
    // When advance() or transmit() has something to do next.
    Time nextEvent() const override;

    // The speed the line runs at now, which an unlisted setting does not change.
    std::uint32_t lineBaud() const override { return m_transmitter.baud(); }

    // Power off and on: the stored settings are at work afterwards.
    void powerCycle(Time now) override;

    // --- For whoever holds it -----------------------------------------------------------------

    const Memory &memory() const { return m_memory; }
    // Replaces both memories without a command; the line takes the working speed at once.
    void setMemory(const Memory &memory);
    void setSettings(const Settings &working);

    Faults &faults() { return m_options.faults; }
    CalibrationStore &calibrationStore() { return m_store; }
    const Sensors &sensors() const { return m_sensors; }
    const DeviceOptions &options() const { return m_options; }
    bool isCollecting() const { return m_collecting; }
    Time now() const { return m_now; }

    // Every intact command packet that came at the right speed, answered or not, in order.
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
        bool answering; // until the answer has been given to the line
    };

    // Commands: each returns the payload of its answer, empty for none.
    void handle(protocol::Bytes packet);
    Payload perform(protocol::Bytes payload, bool refused);
    Payload set(protocol::Bytes payload, bool refused);
    Payload get(protocol::Bytes payload) const;
    Payload status(unsigned char code, bool refused);
    Payload calibrationSize(bool refused) const;
    Payload calibrationData(protocol::Bytes payload, bool refused) const;
    void appendParameter(Payload &answer, unsigned char parameter) const;
    bool store(unsigned char parameter, protocol::Bytes value);

    // Answers, with the faults that befall them.
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
    std::vector<unsigned char> m_heldReplies; // wait for a data packet to join
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
