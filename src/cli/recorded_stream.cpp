#include "cli/recorded_stream.h"

#include "cli/recorded_line.h"
#include "cli/runtime.h"

namespace cli {

namespace {

// The outputs that occur, for the header line.
std::uint16_t outputsIn(const recording::Recording &recording)
{
    unsigned outputs = 0;
    session::Receiver receiver;
    receiver.onSample = [&outputs](const session::Sample &sample) { outputs |= sample.blocks; };
    feedRecordedLine(recording, receiver, [] { return false; });
    return static_cast<std::uint16_t>(outputs);
}

} // namespace

ExitStatus streamRecording(Runtime &runtime, const StreamOptions &options, const std::string &path)
{
    const recording::Recording recording = readRecordedLine(runtime, path);
    const unsigned rateHz = recording.header.rateHz;
    const unsigned every = decimation(rateHz, options.rateHz);
    if (options.rateHz)
        runtime.note(path + ": " + decimationText(rateHz, every));

    RecordStream stream(runtime.out(), options, outputsIn(recording));
    Decimator decimator(every);
    bool isOver = false;
    session::Receiver receiver;
    const auto isInTime = [&](const session::ReceiveTime &at) {
        const std::chrono::duration<double> since = at.monotonic.time_since_epoch();
        isOver = isOver || (options.durationSeconds && since.count() > *options.durationSeconds);
        return !isOver;
    };
    if (options.format == "raw") {
        receiver.onPacket = [&](session::Receiver::Bytes packet, const session::ReceiveTime &at) {
            if (isInTime(at))
                stream.raw(packet);
        };
    } else {
        receiver.onSample = [&](const session::Sample &sample) {
            if (isInTime(sample.time) && decimator.isWanted())
                stream.sample(sample);
        };
    }
    feedRecordedLine(recording, receiver, [&] {
        runtime.context().restart();
        runtime.context().poll();
        return isOver || stream.isComplete() || runtime.isInterrupted();
    });
    if (const auto damaged = receiver.statistics().damaged; damaged != 0)
        runtime.note(path + ": " + std::to_string(damaged) + " damaged packets");
    return runtime.isInterrupted() ? ExitStatus::Interrupted : ExitStatus::Done;
}

} // namespace cli
