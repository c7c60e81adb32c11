// vornixctl calibrate: the magnetometer, from a device or from a recording.

#include <memory>
#include <optional>

#include <nlohmann/json.hpp>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include "cli/calibration_report.h"
#include "cli/commands.h"
#include "cli/outputs_change.h"
#include "cli/positive_option.h"
#include "cli/record_format.h"
#include "cli/recorded_line.h"
#include "cli/runtime.h"
#include "session/error.h"

namespace cli {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;
using ellipsoid::Calibration;
using ellipsoid::Verdict;

// A fit of some thousand readings takes a few milliseconds.
constexpr auto kFitInterval = 200ms;
// Without readings the device has no raw field to send.
constexpr auto kFirstReading = 3s;
constexpr double kLongestSeconds = 180;

struct CalibrateOptions
{
    std::string from;
    std::optional<double> durationSeconds;
    ellipsoid::CalibrationOptions judging;
    bool apply = false;
    bool save = false;
};

// True once the user has pressed Enter; always false if standard input is no terminal.
class EnterKey
{
public:
    explicit EnterKey(boost::asio::io_context &context)
        : m_input(context)
    {
        if (::isatty(STDIN_FILENO) == 0)
            return;
        m_input.assign(::dup(STDIN_FILENO));
        m_input.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                           [pressed = m_isPressed](const boost::system::error_code &error) {
                               if (!error)
                                   *pressed = true;
                           });
    }
    bool isPressed() const { return *m_isPressed; }

private:
    boost::asio::posix::stream_descriptor m_input;
    std::shared_ptr<bool> m_isPressed = std::make_shared<bool>(false);
};

ellipsoid::Readings recordedReadings(Runtime &runtime, const std::string &path)
{
    const recording::Recording recording = readRecordedLine(runtime, path);
    ellipsoid::Readings readings;
    session::Receiver receiver;
    receiver.onSample = [&readings](const session::Sample &sample) {
        if (sample.has(protocol::OUT_MAGNETIC_FIELD_RAW))
            readings.push_back(sample.magneticFieldRaw);
    };
    feedRecordedLine(recording, receiver, [&runtime] { return runtime.isInterrupted(); });
    if (readings.empty())
        throw Failure(ExitStatus::Failed,
                      path + " contains no raw magnetic field; record it with --raw-field");
    return readings;
}

// Collects readings while the user turns the device: for the given time, or until the calibration
// is good, or until Enter.
Calibration collect(Runtime &runtime, const CalibrateOptions &options, session::Device &device)
{
    ellipsoid::Readings readings;
    device.onSample([&readings](const session::Sample &sample) {
        if (sample.has(protocol::OUT_MAGNETIC_FIELD_RAW))
            readings.push_back(sample.magneticFieldRaw);
    });
    struct NoHandler
    {
        session::Device &device;
        ~NoHandler() { device.onSample({}); }
    } const afterwards{device};

    const EnterKey enter(runtime.context());
    const auto begin = Clock::now();
    const auto end =
        begin + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                    options.durationSeconds.value_or(kLongestSeconds)));
    Calibration result;
    bool isGood = false;
    while (!enter.isPressed() && !isGood && Clock::now() < end) {
        const auto next = std::min(end, Clock::now() + kFitInterval);
        const auto error = device.runUntil([&] { return enter.isPressed(); }, next);
        if (error && error != std::errc::timed_out) {
            runtime.progress({});
            throwIf(error, device.path());
        }
        if (readings.empty() && Clock::now() > begin + kFirstReading)
            throw Failure(ExitStatus::NoAnswer, device.path() + ": the device sends no raw field");
        result = ellipsoid::calibrate(readings, options.judging);
        runtime.progress(toLine(result));
        isGood = !options.durationSeconds && result.verdict == Verdict::Good;
    }
    runtime.progress({});
    return ellipsoid::calibrate(readings, options.judging);
}

// What is known of the device. An empty value: it did not answer.
struct Applied
{
    std::optional<bool> isApplied = false;
    std::optional<bool> isSaved = false;
    session::MagneticCalibration sent;
    std::optional<Failure> failure;
};

// A device that loses its power while it saves restarts with its earlier calibration and confirms a
// repeated save. So the calibration is repeated, too.
std::error_code save(session::Device &device, const session::MagneticCalibration &calibration)
{
    const session::RetryPolicy usual = device.retryPolicy();
    for (int attempt = 1;; ++attempt) {
        device.setRetryPolicy({.perAttempt = usual.perAttempt, .attempts = 1});
        const auto error = device.save();
        device.setRetryPolicy(usual);
        if (error != session::Error::NoAnswer || attempt == usual.attempts)
            return error;
        if (const auto lost = device.setMagneticCalibration(calibration))
            return lost;
    }
}

Failure failure(const session::Device &device, std::error_code error, const std::string &state)
{
    return {exitStatusOf(error), device.path() + ": " + error.message() + ": " + state};
}

// False for a refusal, empty if the device may have obeyed without an answer.
std::optional<bool> afterError(std::error_code error)
{
    return error == session::Error::Refused ? std::optional(false) : std::nullopt;
}

// The device sends a calibration back when it uses it, and the two are compared.
Applied apply(Runtime &runtime, const CalibrateOptions &options, session::Device &device,
              const Calibration &calibration)
{
    Applied applied;
    if (!options.apply)
        return applied;
    if (calibration.verdict == Verdict::Bad) {
        runtime.note("The calibration is bad and was not applied; the device keeps its own.");
        return applied;
    }
    applied.sent = toDevice(calibration.correction);
    if (const auto error = device.setMagneticCalibration(applied.sent)) {
        // A refusal shows another calibration, which need not be the one before.
        applied.isApplied = afterError(error);
        applied.failure.emplace(failure(device, error,
                                        applied.isApplied
                                            ? "the calibration was not applied and not saved"
                                            : "whether it uses the new calibration is unknown; "
                                              "the calibration was not saved"));
        return applied;
    }
    applied.isApplied = true;
    if (!options.save)
        return applied;
    if (const auto error = save(device, applied.sent)) {
        applied.isSaved = afterError(error);
        applied.failure.emplace(
            failure(device, error,
                    "it used the new calibration, " +
                        std::string(applied.isSaved ? "but did not save it"
                                                    : "but whether it saved it is unknown")));
        return applied;
    }
    applied.isSaved = true;
    return applied;
}

std::string appliedText(const Applied &applied)
{
    if (applied.failure || !*applied.isApplied)
        return {};
    return *applied.isSaved ? "applied and saved\n" : "applied, not saved\n";
}

nlohmann::ordered_json nullable(std::optional<bool> value)
{
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

void print(Runtime &runtime, const Calibration &calibration, const session::Device *device,
           const Applied &applied)
{
    if (!runtime.options().json) {
        runtime.out().write(toText(calibration) + appliedText(applied));
        return;
    }
    nlohmann::ordered_json json = toJson(calibration);
    if (device) {
        json["port"] = device->path();
        json["serial"] = serialText(device->knownSettings()->serialNumber);
    }
    json["applied"] = nullable(applied.isApplied);
    json["saved"] = nullable(applied.isSaved);
    if (applied.isApplied.value_or(false))
        json["read_back"] = {{"bias", applied.sent.bias},
                             {"matrix_by_column", applied.sent.matrix}};
    runtime.out().write(json.dump(2) + "\n");
}

// The result is printed also if the device did not take it: it may have cost minutes.
void applyAndPrint(Runtime &runtime, const CalibrateOptions &options, session::Device &device,
                   const Calibration &calibration)
{
    const Applied applied = apply(runtime, options, device, calibration);
    print(runtime, calibration, &device, applied);
    runtime.out().flush();
    if (applied.failure)
        throw *applied.failure;
}

ExitStatus statusOf(const Calibration &calibration)
{
    return calibration.verdict == Verdict::Bad ? ExitStatus::JudgedBad : ExitStatus::Done;
}

std::unique_ptr<session::Device> connected(Runtime &runtime)
{
    auto device = runtime.connectChosen();
    throwIf(device->readSettings().error(), device->path());
    return device;
}

ExitStatus calibrateRecording(Runtime &runtime, const CalibrateOptions &options)
{
    const Calibration result =
        ellipsoid::calibrate(recordedReadings(runtime, options.from), options.judging);
    if (!options.apply) {
        print(runtime, result, nullptr, {});
        return statusOf(result);
    }
    const auto device = connected(runtime);
    applyAndPrint(runtime, options, *device, result);
    return statusOf(result);
}

// Applies and saves before the outputs are restored, in the order of the window, so that both leave
// the same bytes in the device.
ExitStatus calibrateDevice(Runtime &runtime, const CalibrateOptions &options)
{
    const auto device = connected(runtime);
    OutputsChange raw(runtime, *device, protocol::OUT_MAGNETIC_FIELD_RAW);
    runtime.note(options.durationSeconds
                     ? "Turn the device through all directions."
                     : "Turn the device through all directions until this ends; Enter ends it "
                       "earlier.");
    const Calibration result = collect(runtime, options, *device);
    applyAndPrint(runtime, options, *device, result);
    raw.restore();
    return statusOf(result);
}

ExitStatus calibrate(Runtime &runtime, const CalibrateOptions &options)
{
    return options.from.empty() ? calibrateDevice(runtime, options)
                                : calibrateRecording(runtime, options);
}

} // namespace

void addCalibrate(CLI::App &app, Request &request)
{
    auto options = std::make_shared<CalibrateOptions>();
    CLI::App &command = addCommand(
        app, request, "calibrate", "Calibrate the magnetometer and judge the result",
        "  vornixctl calibrate                               # only computes and judges\n"
        "  vornixctl calibrate --apply --save\n"
        "  vornixctl calibrate --duration 60 --json --quiet > calibration.json\n"
        "  vornixctl calibrate --from drive.rec",
        [options](Runtime &runtime) { return calibrate(runtime, *options); });
    addPortOption(command, request.common);
    CLI::Option *from =
        command
            .add_option("--from", options->from, "Use a recording instead of turning the device")
            ->type_name("FILE");
    addPositiveOption(command, "--duration", options->durationSeconds, kLongestDuration,
                      "Collect for so long; without it until the calibration is good, at most "
                      "180 s",
                      "SECONDS")
        .excludes(from);
    addPositiveOption(command, "--field", options->judging.fieldStrength, 1e9,
                      "Expected strength of the field, in the units of the device", "STRENGTH");
    CLI::Option *apply = command.add_flag(
        "--apply", options->apply, "Write the calibration to the device, unless it is judged bad");
    command.add_flag("--save", options->save, "Store it in the flash of the device")->needs(apply);
    addJsonOption(command, request.common);
    addQuietOption(command, request.common);
}

} // namespace cli
