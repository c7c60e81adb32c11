// vornixctl noise: the Allan deviation of a device at rest.

#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include <nlohmann/json.hpp>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/outputs_change.h"
#include "cli/positive_option.h"
#include "cli/record_format.h"
#include "cli/recorded_line.h"
#include "cli/runtime.h"
#include "noise/allan_deviation.h"
#include "session/error.h"
#include "session/outputs.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

constexpr double kDefaultSeconds = 600;
// Below this share of the samples that the rate promises, averaging times are wrong.
constexpr double kLeastComplete = 0.99;

struct NoiseOptions
{
    std::string from;
    std::string output = "rates";
    std::optional<double> durationSeconds;
    std::string csv;
    std::string plot;
};

struct Axes
{
    const session::Output *output;
    std::array<std::vector<float>, 3> values;
    std::optional<double> firstTime;
    double lastTime = 0;

    void add(const session::Sample &sample)
    {
        if (!sample.has(output->bit))
            return;
        const auto now = session::valuesOf(sample, *output);
        for (std::size_t axis = 0; axis < values.size(); ++axis)
            values[axis].push_back(now[axis]);
        const std::chrono::duration<double> at = sample.time.monotonic.time_since_epoch();
        if (!firstTime)
            firstTime = at.count();
        lastTime = at.count();
    }
    std::size_t count() const { return values[0].size(); }
    double seconds() const { return lastTime - firstTime.value_or(lastTime); }
    double interval() const { return seconds() / static_cast<double>(count() - 1); }
};

using Curves = std::array<std::vector<noise::AllanPoint>, 3>;

// Independent of the locale.
std::string text(double value)
{
    std::array<char, 64> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                      std::chars_format::general, 6);
    return {digits.data(), result.ptr};
}

Axes recordedAxes(Runtime &runtime, const NoiseOptions &options, const session::Output &output)
{
    Axes axes{&output, {}, {}, 0};
    session::Receiver receiver;
    receiver.onSample = [&axes](const session::Sample &sample) { axes.add(sample); };
    feedRecordedLine(readRecordedLine(runtime, options.from), receiver, [] { return false; });
    return axes;
}

Axes measuredAxes(Runtime &runtime, const NoiseOptions &options, const session::Output &output)
{
    const auto device = runtime.connectChosen();
    const auto settings = device->readSettings();
    throwIf(settings.error(), device->path());
    OutputsChange change(runtime, *device, output.bit);
    Axes axes{&output, {}, {}, 0};
    std::error_code lost;
    device->onSample([&axes](const session::Sample &sample) { axes.add(sample); });
    device->onLost([&lost](std::error_code error) { lost = error; });
    const double seconds = options.durationSeconds.value_or(kDefaultSeconds);
    runtime.note("Measuring for " + text(seconds) + " s; keep the device still.");
    runtime.wait([&lost] { return static_cast<bool>(lost); }, seconds);
    device->onSample({});
    device->onLost({});
    throwIf(lost, device->path());
    change.restore();
    const double expected = axes.seconds() * settings->rateHz;
    if (static_cast<double>(axes.count()) < kLeastComplete * expected)
        runtime.note("only " + std::to_string(axes.count()) + " of " + text(expected) +
                     " samples arrived; the result is not exact");
    return axes;
}

std::string csvOf(const Axes &axes, const Curves &curves)
{
    std::string csv = "tau_s";
    for (const char *axis : {"x", "y", "z"})
        csv += ',' + std::string(axes.output->name) + "_" + axis;
    csv += '\n';
    for (std::size_t i = 0; i < curves[0].size(); ++i) {
        csv += text(curves[0][i].tau);
        for (const auto &curve : curves)
            csv += ',' + text(curve[i].deviation);
        csv += '\n';
    }
    return csv;
}

void writeFile(const std::string &path, const std::string &content)
{
    std::ofstream file(path, std::ios::binary);
    file << content << std::flush;
    if (!file)
        throw Failure(ExitStatus::Failed, "cannot write " + path);
}

// Beside the program, as installed and in the build.
std::filesystem::path plotScript()
{
    const auto program = std::filesystem::read_symlink("/proc/self/exe");
    return program.parent_path().parent_path() / "share/vornix/noise_plot.gnuplot";
}

// Removes the file at the end.
struct TemporaryFile
{
    std::string path = (std::filesystem::temp_directory_path() / "vornix-noise-XXXXXX").string();

    TemporaryFile()
    {
        const int fd = ::mkstemp(path.data());
        if (fd < 0)
            throw Failure(ExitStatus::Failed, "cannot make a temporary file");
        ::close(fd);
    }
    ~TemporaryFile() { ::unlink(path.c_str()); }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
};

void plot(const std::string &csv, const std::string &picture, const std::string &unit)
{
    const TemporaryFile curves;
    writeFile(curves.path, csv);
    const std::string script = plotScript().string();
    std::array<std::string, 6> words{"gnuplot", "-c", script, curves.path, picture, unit};
    std::array<char *, 7> arguments{};
    for (std::size_t i = 0; i < words.size(); ++i)
        arguments[i] = words[i].data();
    pid_t process = 0;
    const int error =
        ::posix_spawnp(&process, "gnuplot", nullptr, nullptr, arguments.data(), environ);
    if (error != 0)
        throw Failure(ExitStatus::Failed, std::string("cannot start gnuplot: ") +
                                              std::strerror(error) +
                                              "; install the package gnuplot-nox");
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0)
        throw Failure(ExitStatus::Failed, "gnuplot could not draw " + picture);
}

ordered_json resultOf(const Axes &axes, const Curves &curves)
{
    const std::string unit(axes.output->unit);
    ordered_json result{{"output", axes.output->name},
                        {"samples", axes.count()},
                        {"seconds", axes.seconds()},
                        {"rate_hz", 1 / axes.interval()},
                        {"random_walk_unit", unit + " sqrt(s)"},
                        {"bias_instability_unit", unit},
                        {"axes", ordered_json::object()}};
    constexpr std::array<const char *, 3> kNames{"x", "y", "z"};
    for (std::size_t axis = 0; axis < curves.size(); ++axis) {
        const auto walk = noise::randomWalk(curves[axis]);
        const auto bias = noise::biasInstability(curves[axis]);
        ordered_json &each = result["axes"][kNames[axis]];
        each["random_walk"] = walk ? ordered_json(*walk) : ordered_json();
        each["bias_instability"] = bias ? ordered_json(bias->value) : ordered_json();
        each["bias_instability_tau_s"] = bias ? ordered_json(bias->tau) : ordered_json();
    }
    return result;
}

std::string textOf(const ordered_json &result)
{
    const auto value = [](const ordered_json &number, const std::string &unit, const char *none) {
        return number.is_null() ? std::string(none) : text(number.get<double>()) + " " + unit;
    };
    std::string lines = result["output"].get<std::string>() + ": " +
                        std::to_string(result["samples"].get<std::size_t>()) + " samples in " +
                        text(result["seconds"].get<double>()) + " s\n";
    for (const auto &[axis, each] : result["axes"].items())
        lines += axis + "  random walk " +
                 value(each["random_walk"], result["random_walk_unit"], "not found") +
                 ", bias instability " +
                 value(each["bias_instability"], result["bias_instability_unit"],
                       "not reached: measure for longer") +
                 "\n";
    return lines;
}

ExitStatus measureNoise(Runtime &runtime, const NoiseOptions &options)
{
    const session::Output &output = *session::outputNamed(options.output);
    const Axes axes = options.from.empty() ? measuredAxes(runtime, options, output)
                                           : recordedAxes(runtime, options, output);
    Curves curves;
    for (std::size_t axis = 0; axis < curves.size() && axes.count() > 1 && axes.seconds() > 0;
         ++axis)
        curves[axis] = noise::allanDeviation(axes.values[axis], axes.interval());
    if (curves[0].empty() || curves[1].empty() || curves[2].empty())
        throw Failure(ExitStatus::Failed,
                      "too few samples of " + options.output + ": " + std::to_string(axes.count()));
    const std::string csv = csvOf(axes, curves);
    if (!options.csv.empty())
        writeFile(options.csv, csv);
    if (!options.plot.empty())
        plot(csv, options.plot, std::string(output.unit));
    const ordered_json result = resultOf(axes, curves);
    runtime.out().write(runtime.options().json ? result.dump(2) + "\n" : textOf(result));
    return ExitStatus::Done;
}

} // namespace

void addNoise(CLI::App &app, Request &request)
{
    auto options = std::make_shared<NoiseOptions>();
    CLI::App &command =
        addCommand(app, request, "noise", "Measure the noise of a still device (Allan deviation)",
                   "  vornixctl noise --duration 3600 --csv curve.csv --plot curve.svg\n"
                   "  vornixctl noise --from still.rec --output accelerations --json",
                   [options](Runtime &runtime) { return measureNoise(runtime, *options); });
    addPortOption(command, request.common);
    CLI::Option *from =
        command.add_option("--from", options->from, "Use a recording instead of a device")
            ->type_name("FILE");
    addPositiveOption(command, "--duration", options->durationSeconds, kLongestDuration,
                      "Measure for so long [600]", "SECONDS")
        .excludes(from);
    command.add_option("--output", options->output, "rates or accelerations [rates]")
        ->check(CLI::IsMember({"rates", "accelerations"}).description(""))
        ->type_name("NAME");
    command.add_option("--csv", options->csv, "Write the curve of each axis")->type_name("FILE");
    command.add_option("--plot", options->plot, "Draw the curves with gnuplot, as SVG")
        ->type_name("FILE");
    addJsonOption(command, request.common);
    addQuietOption(command, request.common);
}

} // namespace cli
