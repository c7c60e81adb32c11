#include "sim/cli/run.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include <signal.h>
#include <sys/wait.h>

#include "sim/cli/spawn.h"
#include "sim/device/imu_simulator_server.h"
#include "sim/line/usb_testbed.h"
#include "sim/recording/recorder.h"
#include "sim/recording/replay.h"

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

std::unique_ptr<PtyServer> makeDevice(const DeviceOptions &options,
                                      const Configuration &configuration)
{
    auto device = std::make_unique<ImuSimulatorServer>(options);
    LineOptions line = configuration.line;
    line.seed = options.seed;
    device->setLineOptions(line);
    device->change([&configuration](ImuSimulator &simulator) {
        CalibrationStore &store = simulator.calibrationStore();
        store.setPoints(tumbledPoints(configuration.calibrationPoints, simulator.options().seed));
        if (configuration.calibrationBytes)
            store.resize(*configuration.calibrationBytes);
    });
    return device;
}

// Makes the simulated devices of a configuration. Each has another serial number and another seed
// than the one before; replays are identical.
class DeviceFactory
{
public:
    explicit DeviceFactory(const Configuration &configuration)
        : m_configuration(configuration)
        , m_options(configuration.device)
    {
        if (!configuration.replayFrom.empty())
            m_recording = recording::readRecording(configuration.replayFrom);
    }

    std::unique_ptr<PtyServer> make()
    {
        if (m_recording)
            return std::make_unique<PtyServer>(
                std::make_unique<Replay>(*m_recording, m_configuration.replaySpeed));
        auto device = makeDevice(m_options, m_configuration);
        ++m_options.serialNumber;
        ++m_options.seed;
        return device;
    }

private:
    const Configuration &m_configuration;
    DeviceOptions m_options;
    std::optional<recording::Recording> m_recording;
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
class DeviceHost
{
public:
    virtual ~DeviceHost() = default;
    virtual void powerCycle() = 0;
    virtual void unplug() = 0;
    virtual void plugIn() = 0;
    virtual void printStatistics() = 0;
};

void print(const std::string &port, const LineCounters &line)
{
    std::cerr << "vornix-sim: " << port << ": sent=" << line.sent << " samples=" << line.samples
              << " unread=" << line.unread << " skipped=" << line.skipped
              << " corrupted=" << line.corrupted << " no_host=" << line.noHost
              << " overrun=" << line.overrun << " bytes=" << line.bytesSent
              << " overrun-bytes=" << line.overrunBytes << " framing=" << line.framingErrors
              << " refused=" << line.savesRefused << std::endl;
}

class PtyHost : public DeviceHost
{
public:
    PtyHost(const Configuration &configuration, Recorder *recorder)
        : m_device(DeviceFactory(configuration).make())
    {
        m_device->setObserver(recorder);
        if (!configuration.link.empty())
            m_device->setLink(configuration.link);
        announce();
        m_device->setCableListener([this](bool) { announce(); });
    }

    void powerCycle() override { m_device->powerCycle(); }
    void unplug() override { m_device->unplug(); }
    void plugIn() override
    {
        m_device->plugIn();
        announce();
    }
    void printStatistics() override { print(m_announced, m_device->counters()); }

private:
    // Prints the path if it has changed: after plugging in, the pty may have another path.
    void announce()
    {
        const std::lock_guard lock(m_mutex);
        const std::string path = m_device->path();
        if (!path.empty() && m_announced != path) {
            m_announced = path;
            std::cout << m_announced << std::endl;
        }
    }

    std::mutex m_mutex;
    std::string m_announced; // guarded by m_mutex
    const std::unique_ptr<PtyServer> m_device;
};

class UsbHost : public DeviceHost
{
public:
    UsbHost(const Configuration &configuration, Recorder *recorder)
        : m_ports(configuration.ports)
    {
        DeviceFactory maker(configuration);
        for (const std::string &port : m_ports) {
            m_testbed.plug(port, maker.make());
            m_testbed.server(port).setObserver(recorder);
        }
    }

    void powerCycle() override
    {
        for (const std::string &port : m_ports)
            m_testbed.server(port).powerCycle();
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
    void printStatistics() override
    {
        for (const std::string &port : m_ports)
            print(port, m_testbed.server(port).counters());
    }

private:
    UsbTestbed m_testbed;
    std::vector<std::string> m_ports;
};

// Waits for signals and for the times at which the cable moves.
class Supervisor
{
public:
    Supervisor(DeviceHost &host, const Configuration &configuration)
        : m_host(host)
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
                m_host.powerCycle();
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
            m_host.unplug();
            if (m_returnAfter)
                m_next = Clock::now() + *m_returnAfter;
        } else {
            m_host.plugIn();
        }
        m_plugged = !m_plugged;
    }

    DeviceHost &m_host;
    std::optional<std::chrono::milliseconds> m_returnAfter;
    std::optional<Clock::time_point> m_next;
    bool m_plugged = true;
};

int withStatistics(DeviceHost &host, const Configuration &configuration, int status)
{
    if (configuration.statistics)
        host.printStatistics();
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
        PtyHost host(configuration, recorder);
        const int status = Supervisor(host, configuration).runUntilInterrupted(signals);
        return withStatistics(host, configuration, status);
    }
    UsbHost host(configuration, recorder);
    const pid_t child = launch(configuration.command);
    const int status = Supervisor(host, configuration).runUntilEndOf(child, signals);
    return withStatistics(host, configuration, status);
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
