// vornixctl stream: samples as text, for other programs.

#include <functional>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/mqtt_stream.h"
#include "cli/record_format.h"
#include "cli/record_stream.h"
#include "cli/recorded_stream.h"
#include "cli/runtime.h"

namespace cli {

namespace {

using session::Device;

struct Source
{
    std::unique_ptr<Device> device;
    session::Settings settings;
};

Source openSource(Runtime &runtime, const std::string &path)
{
    Source source{std::make_unique<Device>(runtime.context()), {}};
    runtime.connect(*source.device, path);
    const auto settings = source.device->readSettings();
    throwIf(settings.error(), path);
    source.settings = *settings;
    return source;
}

std::uint16_t allOutputsOf(const std::vector<Source> &sources)
{
    unsigned mask = 0;
    for (const Source &source : sources)
        mask |= source.settings.outputs;
    return static_cast<std::uint16_t>(mask);
}

using Sink = std::function<void(const session::Sample &)>;

// Sends the samples of each device to the sink.
void connectSamples(Runtime &runtime, const StreamOptions &options, Source &source,
                    const Sink &sink)
{
    const std::string &path = source.device->path();
    const unsigned every = decimation(source.settings.rateHz, options.rateHz);
    if (options.rateHz)
        runtime.note(path + ": " + decimationText(source.settings.rateHz, every));
    if (source.settings.outputs == 0)
        runtime.note(path + ": the device streams nothing, because its outputs are all off");
    source.device->onSample(
        [sink, decimator = Decimator(every)](const session::Sample &sample) mutable {
            if (decimator.isWanted())
                sink(sample);
        });
}

void reportDamage(const Runtime &runtime, const Source &source)
{
    if (const auto damaged = source.device->statistics().damaged; damaged != 0)
        runtime.note(source.device->path() + ": " + std::to_string(damaged) + " damaged packets");
}

// Runs until the stream is complete, the time is over or no device is left.
ExitStatus run(Runtime &runtime, const StreamOptions &options, std::vector<Source> &sources,
               const std::function<bool()> &isComplete)
{
    std::size_t left = sources.size();
    for (Source &source : sources) {
        source.device->onLost([&, path = source.device->path()](std::error_code error) {
            Runtime::complain(path + ": " + error.message());
            --left;
        });
    }
    runtime.wait([&] { return isComplete() || left == 0; }, options.durationSeconds);
    for (const Source &source : sources)
        reportDamage(runtime, source);
    return left < sources.size() ? ExitStatus::NoDevice : ExitStatus::Done;
}

ExitStatus print(Runtime &runtime, const StreamOptions &options, std::vector<Source> &sources)
{
    RecordStream records(runtime.out(), options, allOutputsOf(sources));
    for (Source &source : sources) {
        if (options.format == "raw")
            source.device->onPacket([&records](Device::Bytes packet, const session::ReceiveTime &) {
                records.raw(packet);
            });
        else
            connectSamples(runtime, options, source,
                           [&records](const session::Sample &sample) { records.sample(sample); });
    }
    return run(runtime, options, sources, [&records] { return records.isComplete(); });
}

ExitStatus publish(Runtime &runtime, const StreamOptions &options, std::vector<Source> &sources,
                   MqttStream &stream)
{
    for (Source &source : sources) {
        stream.add(source.settings.serialNumber, source.settings.outputs);
        connectSamples(runtime, options, source,
                       [&stream](const session::Sample &sample) { stream.sample(sample); });
    }
    try {
        const ExitStatus status =
            run(runtime, options, sources, [&stream] { return stream.isComplete(); });
        stream.close();
        return status;
    } catch (const Failure &) {
        stream.close();
        throw;
    }
}

struct Choices
{
    StreamOptions stream;
    MqttOptions mqtt;
    std::string from;
};

ExitStatus stream(Runtime &runtime, const Choices &choices)
{
    const StreamOptions &options = choices.stream;
    parseFields(options.fields, 0); // reports a wrong name before any device is opened
    if (!choices.from.empty())
        return streamRecording(runtime, options, choices.from);
    std::optional<MqttStream> broker; // a wrong URL is reported before, too
    if (!choices.mqtt.url.empty())
        broker.emplace(runtime, options, choices.mqtt);
    const std::vector<std::string> paths = runtime.chosenPorts();
    if (options.format == "raw" && paths.size() > 1)
        throw Failure(ExitStatus::Usage, "--format raw: only one port at a time");
    std::vector<Source> sources;
    sources.reserve(paths.size());
    for (const std::string &path : paths)
        sources.push_back(openSource(runtime, path));
    return broker ? publish(runtime, options, sources, *broker) : print(runtime, options, sources);
}

} // namespace

void addStream(CLI::App &app, Request &request)
{
    auto options = std::make_shared<Choices>();
    CLI::App &command =
        addCommand(app, request, "stream", "Print samples for other programs",
                   "  vornixctl stream > samples.csv\n"
                   "  vornixctl stream --fields euler,rates_z --rate 10\n"
                   "  vornixctl stream --all --format jsonl --duration 60\n"
                   "  vornixctl stream --from line.rec --fields quaternion\n"
                   "  vornixctl stream --all --rate 10 --mqtt mqtts://broker.example.org",
                   [options](Runtime &runtime) { return stream(runtime, *options); });
    addPortsOption(command, request.common);
    addStreamOptions(command, options->stream);
    CLI::Option *from =
        command.add_option("--from", options->from, "Print a recording instead of a device")
            ->type_name("FILE");
    addMqttOptions(command, options->mqtt);
    command.get_option("--mqtt")->excludes(from);
    addQuietOption(command, request.common);
}

} // namespace cli
