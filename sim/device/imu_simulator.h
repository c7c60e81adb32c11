#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "sim/device/calibration_store.h"
#include "sim/device/command_parser.h"
#include "sim/device/device_settings.h"
#include "sim/device/faults.h"
#include "sim/device/sensors.h"
#include "sim/line/bit_errors.h"
#include "sim/line/simulated_device.h"
#include "sim/line/transmitter.h"

namespace sim {

// A duration, drawn anew for each use.
struct TimeRange
{
    std::chrono::milliseconds least{0};
    std::chrono::milliseconds most{0};

    bool operator==(const TimeRange &) const = default;
};

// The defaults are those of a kind device, which never takes longer than the line. vornix-sim sets
// stricter ones: strictDevice() in "sim/cli/options.h".
struct DeviceOptions
{
    std::uint64_t seed = 1;
    Motion motion = Motion::Hand;
    SensorOptions sensors;
    DeviceSettings settings; // initial content of both memories; may hold values that SET rejects
    // Baud rate of the line while the settings hold one that the device does not support. 0: that
    // one, even if no host can set it.
    std::uint32_t fallbackBaud = 115200;
    std::uint16_t firmwareVersion = 0x0203;
    std::uint16_t hardwareVersion = 0x0100;
    std::uint32_t serialNumber = 0x00C0FFEE;
    std::chrono::milliseconds startUp{100}; // after power-up: drops input, sends nothing
    // Duration of a flash write. Meanwhile the device drops commands and sends nothing.
    TimeRange flashTime;
    bool staleSamplesDuringFlash = false; // repeats the last sample during a flash write
    // From the end of the reply to the new baud rate. Meanwhile the device drops commands and sends
    // nothing.
    TimeRange baudChangeTime;
    // Refuses SAVE_SETTINGS and FACTORY_RESET if the mask in the command differs from its outputs.
    bool checksHostOutputs = false;
    double clockDriftPpm = 0; // positive: its clock is fast
    Faults faults;
};

struct DeviceCounters
{
    std::uint64_t samplesSent = 0;    // data packets queued for transmission
    std::uint64_t samplesSkipped = 0; // data packets dropped because the transmit buffer was full
    std::uint64_t repliesSent = 0;
    std::uint64_t outputsDiffered = 0; // refused because of DeviceOptions::checksHostOutputs
};

// The simulated device without thread and port: it takes bytes and the current time as arguments
// and returns bytes.
//
// Not thread-safe; the times passed in must not decrease. The protocol is that of
// "protocol/protocol.h"; docs/simulator.md describes the additional behaviour.
class ImuSimulator : public SimulatedDevice
{
public:
    // Ready at time 0: the start-up delay is already over.
    explicit ImuSimulator(DeviceOptions options = {});

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

    const DeviceMemory &memory() const { return m_memory; }
    // Replaces both memories without a command. The baud rate of the line changes at once.
    void setMemory(const DeviceMemory &memory);
    void setSettings(const DeviceSettings &working);

    Faults &faults() { return m_options.faults; }
    void setFlashTime(const TimeRange &time) { m_options.flashTime = time; }
    void setChecksHostOutputs(bool checks) { m_options.checksHostOutputs = checks; }
    CalibrationStore &calibrationStore() { return m_calibrationStore; }
    const Sensors &sensors() const { return m_sensors; }
    const DeviceOptions &options() const { return m_options; }
    bool isCollecting() const { return m_collecting; }
    Time now() const { return m_now; }

    // Every intact command packet received at the right baud rate, answered or not, in order.
    const std::vector<std::vector<unsigned char>> &receivedCommands() const { return m_received; }
    void clearReceivedCommands() { m_received.clear(); }
    const DeviceCounters &counters() const { return m_counters; }
    std::uint64_t samplesSkipped() const override { return m_counters.samplesSkipped; }
    std::uint64_t savesRefused() const override { return m_counters.outputsDiffered; }

private:
    using Payload = std::vector<unsigned char>;

    struct PendingReply
    {
        Time due;
        Payload payload;
    };
    struct FlashWrite
    {
        Time due;
        Payload command;
        bool powerFails;
    };
    struct BaudChange
    {
        Time due;
        std::uint32_t baud;
        bool answering; // until the reply has been queued
    };

    // Commands: each returns the payload of its reply, empty for no reply.
    void handle(protocol::Bytes packet);
    void execute(protocol::Bytes payload, bool refused);
    bool isRefused(protocol::Bytes payload);
    bool startFlashWrite(protocol::Bytes payload);
    void endFlashWrite(Time at);
    Payload perform(protocol::Bytes payload, bool refused);
    Payload set(protocol::Bytes payload, bool refused);
    Payload get(protocol::Bytes payload) const;
    Payload status(unsigned char code, bool refused);
    Payload calibrationSize(bool refused);
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
    void sendSample(const Payload &payload, Time at);
    Time deviceClock(Time at) const;
    Time drawTime(const TimeRange &range);
    void restart(Time at);
    void scheduleBaudChange();
    void continueBaudChange(Time at);
    std::uint32_t lineBaudFor(std::uint32_t baud) const;

    DeviceOptions m_options;
    Sensors m_sensors;
    Noise m_lineNoise;
    BitErrors m_bitErrors;
    DeviceMemory m_memory;
    CalibrationStore m_calibrationStore;
    CommandParser m_parser;
    Transmitter m_transmitter;

    Time m_now{0};
    Time m_awakeAt{0};
    Time m_nextSample{0};
    std::optional<BaudChange> m_baudChange;
    std::optional<FlashWrite> m_flashWrite;
    Payload m_lastSample;
    std::uint64_t m_drawnTimes = 0;
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
