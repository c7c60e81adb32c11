#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "cli/mqtt_publisher.h"
#include "cli/record_stream.h"

namespace cli {

class Runtime;

// Sends samples of one or several devices to a broker, as JSON records.
class MqttStream
{
public:
    // Throws a Failure for a bad URL and for a format that is not text.
    MqttStream(Runtime &runtime, const StreamOptions &options, const MqttOptions &mqtt);

    // Connects for one device, which streams these outputs. Throws a Failure if there is no broker.
    void add(std::uint32_t serialNumber, std::uint16_t outputs);
    // A sample of a device that was added; others are left out.
    void sample(const session::Sample &sample);
    bool isComplete() const { return m_left == 0; }
    // Sends what is queued and reports on standard error how many samples were dropped.
    void close();

private:
    struct Sender
    {
        RecordFormat format;
        std::unique_ptr<MqttPublisher> publisher;
    };

    Runtime &m_runtime;
    const StreamOptions &m_options;
    const MqttBroker m_broker;
    std::uint64_t m_left;
    std::uint64_t m_sent = 0;
    std::map<std::uint32_t, Sender> m_senders; // by serial number
};

} // namespace cli
