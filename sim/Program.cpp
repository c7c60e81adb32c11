#include "sim/Program.h"

#include "sim/Launcher.h"
#include "sim/Recorder.h"
#include "sim/Replay.h"
#include "sim/RunningDevice.h"
#include "sim/UsbTestbed.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include <signal.h>
#include <sys/wait.h>

namespace sim {

namespace {

using Clock = std::chrono::steady_clock;

// The points that a device collects while it is rotated through all orientations.
std::vector<std::array<float, 3>> tumbledPoints(unsigned count, std::uint64_t seed)
{
    constexpr Time kInterval = std::chrono::milliseconds(400);
    const Sensors sensors(Motion::Tumble, seed);
    std::vector<std::array<float, 3>> points;
    for (unsigned i = 0; i < count; ++i) {
        const Eigen::Vector3f field = sensors.rawField(i * kInterval).cast<float>();
        points.push_back({field.x(), field.y(), field.z()});
    }
    return points;
}

std::unique_ptr<RunningUnit> makeDevice(const DeviceOptions &options, unsigned calibrationPoints)
{
    auto device = std::make_unique<RunningDevice>(options);
    device->change([calibrationPoints](Device &unit) {
        unit.calibrationStore().setPoints(tumbledPoints(calibrationPoints, unit.options().seed));
    });
    return device;
}

// Makes the simulated devices of a configuration. Each has another serial number and another seed
// than the one before; replays are identical.
class UnitMaker
{
public:
    explicit UnitMaker(const Configuration &configuration)
        : m_configuration(configuration)
        , m_options(configuration.device)
    {
        if (!configuration.replayFrom.empty())
            m_recording = readRecording(configuration.replayFrom);
    }

    std::unique_ptr<RunningUnit> make()
    {
        if (m_recording)
            return std::make_unique<RunningUnit>(
                std::make_unique<Replay>(*m_recording, m_configuration.replaySpeed));
        auto device = makeDevice(m_options, m_configuration.calibrationPoints);
        ++m_options.serialNumber;
        ++m_options.seed;
        return device;
    }

private:
    const Configuration &m_configuration;
    DeviceOptions m_options;
    std::optional<Recording> m_recording;
};

// The file of --record, if there is one.
class RecordingFile
{
public:
    explicit RecordingFile(const Configuration &configuration)
        : m_path(configuration.recordTo)
    {
        if (m_path.empty())
            return;
        m_file.open(m_path, std::ios::binary | std::ios::trunc);
        m_recorder.emplace(m_file, recordingHeader(configuration));
        check();
    }

    Recorder *recorder() { return m_recorder ? &*m_recorder : nullptr; }
    // Throws if not everything could be written.
    void check() const
    {
        if (!m_path.empty() && !m_file)
            throw std::runtime_error("cannot write " + m_path);
    }

private:
    const std::string m_path;
    std::ofstream m_file;
    std::optional<Recorder> m_recorder;
};

// The simulated devices of a run, on a pty or in a testbed.
class Bench
{
public:
    virtual ~Bench() = default;
    virtual void powerCycle() = 0;
    virtual void unplug() = 0;
    virtual void plugIn() = 0;
    virtual void tellStatistics() = 0;
};

void tell(const std::string &unit, const LineCounters &line)
{
    std::cerr << "vornix-sim: " << unit << ": sent=" << line.sent << " samples=" << line.samples
              << " unread=" << line.unread << " skipped=" << line.skipped
              << " garbled=" << line.garbled << " unheard=" << line.unheard
              << " overrun=" << line.overrun << " bytes=" << line.bytesSent << std::endl;
}

class PtyBench : public Bench
{
public:
    PtyBench(const Configuration &configuration, Recorder *recorder)
        : m_unit(UnitMaker(configuration).make())
    {
        m_unit->setRecorder(recorder);
        if (!configuration.link.empty())
            m_unit->setLink(configuration.link);
        announce();
        m_unit->setCableListener([this](bool) { announce(); });
    }

    void powerCycle() override { m_unit->powerCycle(); }
    void unplug() override { m_unit->unplug(); }
    void plugIn() override
    {
        m_unit->plugIn();
        announce();
    }
    void tellStatistics() override { tell(m_announced, m_unit->counters()); }

private:
    // Prints the path if it has changed: after plugging in, the pty may have another path.
    void announce()
    {
        const std::lock_guard lock(m_mutex);
        const std::string path = m_unit->path();
        if (!path.empty() && m_announced != path) {
            m_announced = path;
            std::cout << m_announced << std::endl;
        }
    }

    std::mutex m_mutex;
    std::string m_announced; // guarded by m_mutex
    const std::unique_ptr<RunningUnit> m_unit;
};

class UsbBench : public Bench
{
public:
    UsbBench(const Configuration &configuration, Recorder *recorder)
        : m_ports(configuration.ports)
    {
        UnitMaker maker(configuration);
        for (const std::string &port : m_ports) {
            m_testbed.plug(port, maker.make());
            m_testbed.unit(port).setRecorder(recorder);
        }
    }

    void powerCycle() override
    {
        for (const std::string &port : m_ports)
            m_testbed.unit(port).powerCycle();
    }
    void unplug() override
    {
        for (const std::string &port : m_ports)
            m_testbed.unplug(port);
    }
    void plugIn() override
    {
        for (const std::string &port : m_ports)
            m_testbed.replug(port);
    }
    void tellStatistics() override
    {
        for (const std::string &port : m_ports)
            tell(port, m_testbed.unit(port).counters());
    }

private:
    UsbTestbed m_testbed;
    std::vector<std::string> m_ports;
};

// Waits for signals and for the times at which the cable moves.
class Watch
{
public:
    Watch(Bench &bench, const Configuration &configuration)
        : m_bench(bench)
        , m_returnAfter(configuration.returnAfter)
    {
        if (configuration.unplugAfter)
            m_next = Clock::now() + *configuration.unplugAfter;
    }

    int runUntilInterrupted(const sigset_t &signals)
    {
        for (;;) {
            const siginfo_t signal = await(signals);
            if (signal.si_signo == SIGINT || signal.si_signo == SIGTERM)
                return 0;
        }
    }

    int runUntilEndOf(pid_t child, const sigset_t &signals)
    {
        for (;;) {
            int status = 0;
            if (::waitpid(child, &status, WNOHANG) == child)
                return exitStatus(status);
            const siginfo_t signal = await(signals);
            // The terminal sends its signals to the command too, so only others are forwarded.
            const bool meantForUs = signal.si_signo == SIGINT || signal.si_signo == SIGTERM;
            if (meantForUs && signal.si_code != SI_KERNEL)
                ::kill(child, signal.si_signo);
        }
    }

private:
    // Returns the next signal. Handles the signals for the simulated devices itself.
    siginfo_t await(const sigset_t &signals)
    {
        for (;;) {
            siginfo_t info{};
            const timespec timeout = untilNext();
            const int signal = ::sigtimedwait(&signals, &info, &timeout);
            if (signal < 0)
                info.si_signo = 0;
            if (m_next && Clock::now() >= *m_next)
                moveCable();
            if (signal == SIGHUP)
                m_bench.powerCycle();
            else if (signal == SIGUSR1)
                moveCable();
            else if (signal > 0)
                return info;
        }
    }

    timespec untilNext() const
    {
        if (!m_next)
            return {3600, 0};
        const auto left = std::max(Clock::duration::zero(), *m_next - Clock::now());
        const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
        return {ns / 1'000'000'000, ns % 1'000'000'000};
    }

    void moveCable()
    {
        m_next.reset();
        if (m_plugged) {
            m_bench.unplug();
            if (m_returnAfter)
                m_next = Clock::now() + *m_returnAfter;
        } else {
            m_bench.plugIn();
        }
        m_plugged = !m_plugged;
    }

    Bench &m_bench;
    std::optional<std::chrono::milliseconds> m_returnAfter;
    std::optional<Clock::time_point> m_next;
    bool m_plugged = true;
};

int withStatistics(Bench &bench, const Configuration &configuration, int status)
{
    if (configuration.statistics)
        bench.tellStatistics();
    return status;
}

sigset_t blockSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGCHLD})
        sigaddset(&signals, signal);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int serve(const Configuration &configuration, const sigset_t &signals, Recorder *recorder)
{
    if (configuration.command.empty()) {
        PtyBench bench(configuration, recorder);
        const int status = Watch(bench, configuration).runUntilInterrupted(signals);
        return withStatistics(bench, configuration, status);
    }
    UsbBench bench(configuration, recorder);
    const pid_t child = launch(configuration.command);
    const int status = Watch(bench, configuration).runUntilEndOf(child, signals);
    return withStatistics(bench, configuration, status);
}

} // namespace

int serve(const Configuration &configuration)
{
    const sigset_t signals = blockSignals();
    RecordingFile recording(configuration);
    const int status = serve(configuration, signals, recording.recorder());
    recording.check();
    return status;
}

} // namespace sim
