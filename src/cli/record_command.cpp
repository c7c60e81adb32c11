// vornixctl record: the bytes of a line, for vornix-sim --replay and for the commands with --from.

#include <exception>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/outputs_change.h"
#include "cli/positive_option.h"
#include "cli/recording_file.h"
#include "cli/runtime.h"
#include "session/error.h"

namespace cli {

namespace {

struct RecordOptions
{
    std::string file;
    std::optional<double> durationSeconds;
    bool raw = false;
};

// The settings, or defaults for a device that does not answer: only the baud rate has an effect on
// a replay.
recording::RecordingHeader headerOf(const session::Device &device)
{
    const session::Settings settings = device.knownSettings().value_or(session::Settings{});
    return {.baud = device.baud(),
            .rateHz = settings.rateHz,
            .outputs = settings.outputs,
            .motion = "unknown",
            .seed = 0,
            .serialNumber = settings.serialNumber};
}

std::string summary(const session::Statistics &before, const session::Statistics &now)
{
    const auto packets = now.samples + now.replies - before.samples - before.replies;
    return std::to_string(now.bytes - before.bytes) + " bytes, " + std::to_string(packets) +
           " packets, " + std::to_string(now.damaged - before.damaged) + " damaged";
}

// Records until the time is over. An exception of a callback must not pass through the io_context,
// so it is thrown afterwards.
void recordLine(Runtime &runtime, const RecordOptions &options, session::Device &device,
                RecordingFile &file)
{
    std::exception_ptr problem;
    std::error_code lost;
    const auto guarded = [&problem](auto &&write) {
        try {
            if (!problem)
                write();
        } catch (...) {
            problem = std::current_exception();
        }
    };
    device.onReceived([&](session::Device::Bytes bytes, const session::ReceiveTime &at) {
        guarded([&] { file.received(bytes, at); });
    });
    device.onWritten([&](session::Device::Bytes bytes, const session::ReceiveTime &at) {
        guarded([&] { file.written(bytes, at); });
    });
    device.onLost([&](std::error_code error) {
        guarded([&] { file.unplugged(session::ReceiveTime::now()); });
        lost = error;
    });
    struct NoHandlers
    {
        session::Device &device;
        ~NoHandlers()
        {
            device.onReceived({});
            device.onWritten({});
            device.onLost({});
        }
    } const afterwards{device};
    runtime.wait([&] { return problem || lost; }, options.durationSeconds);
    if (problem)
        std::rethrow_exception(problem);
    throwIf(lost, device.path());
}

ExitStatus record(Runtime &runtime, const RecordOptions &options)
{
    const auto device = runtime.connectChosen();
    const auto settings = device->readSettings();
    if (options.raw || settings.error() != session::Error::NoAnswer)
        throwIf(settings.error(), device->path());
    else
        runtime.note(device->path() + ": the device does not answer; recording what arrives");
    std::optional<OutputsChange> raw;
    if (options.raw)
        raw.emplace(runtime, *device, protocol::OUT_MAGNETIC_FIELD_RAW);
    RecordingFile file(options.file, headerOf(*device));
    const session::Statistics before = device->statistics();
    const auto report = [&] {
        runtime.note(options.file + ": " + summary(before, device->statistics()));
    };
    try {
        recordLine(runtime, options, *device, file);
    } catch (const Failure &) {
        report();
        throw;
    }
    report();
    return ExitStatus::Done;
}

} // namespace

void addRecord(CLI::App &app, Request &request)
{
    auto options = std::make_shared<RecordOptions>();
    CLI::App &command =
        addCommand(app, request, "record", "Record the line as it is, until Ctrl-C",
                   "  vornixctl record --to line.rec --duration 60\n"
                   "  vornixctl record --to drive.rec --raw-field\n"
                   "  vornixctl calibrate --from drive.rec",
                   [options](Runtime &runtime) { return record(runtime, *options); });
    addPortOption(command, request.common);
    command.add_option("--to", options->file, "The recording; an existing file is replaced")
        ->type_name("FILE")
        ->required();
    addPositiveOption(command, "--duration", options->durationSeconds, kLongestDuration,
                      "Record for so long", "SECONDS");
    command.add_flag("--raw-field", options->raw,
                     "Switch the raw magnetic field on meanwhile, for a later calibration");
    addQuietOption(command, request.common);
}

} // namespace cli
