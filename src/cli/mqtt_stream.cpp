#include "cli/mqtt_stream.h"

#include <limits>

#include "cli/exit_status.h"
#include "cli/runtime.h"

namespace cli {

MqttStream::MqttStream(Runtime &runtime, const StreamOptions &options, const MqttOptions &mqtt)
    : m_runtime(runtime)
    , m_options(options)
    , m_broker(brokerOf(mqtt))
    , m_left(options.count.value_or(std::numeric_limits<std::uint64_t>::max()))
{
    if (options.format == "raw")
        throw Failure(ExitStatus::Usage, "--mqtt sends records, not raw packets");
}

void MqttStream::add(std::uint32_t serialNumber, std::uint16_t outputs)
{
    const std::string serial = serialText(serialNumber);
    if (m_senders.contains(serialNumber))
        throw Failure(ExitStatus::Failed, "two devices have the serial number " + serial);
    Sender sender{{RecordFormat::Kind::Jsonl, parseFields(m_options.fields, outputs)},
                  std::make_unique<MqttPublisher>(
                      m_broker, serial, [this](const auto &line) { m_runtime.note(line); })};
    sender.publisher->connect([this] {
        m_runtime.context().restart();
        m_runtime.context().poll();
        return m_runtime.isInterrupted();
    });
    m_runtime.note("vornix/" + serial + ": connected to " + m_broker.host);
    m_senders.emplace(serialNumber, std::move(sender));
}

void MqttStream::sample(const session::Sample &sample)
{
    const auto sender = m_senders.find(sample.serialNumber);
    if (m_left == 0 || sender == m_senders.end())
        return;
    --m_left;
    ++m_sent;
    std::string record = sender->second.format.record(sample);
    record.pop_back(); // the line feed
    sender->second.publisher->publish(std::move(record));
}

void MqttStream::close()
{
    std::uint64_t dropped = 0;
    for (auto &[serialNumber, sender] : m_senders) {
        sender.publisher->close();
        dropped += sender.publisher->dropped();
    }
    m_runtime.note(std::to_string(m_sent - dropped) + " samples sent, " + std::to_string(dropped) +
                   " dropped");
}

} // namespace cli
