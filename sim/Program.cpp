#include "sim/Program.h"

#include "sim/Launcher.h"
#include "sim/RunningDevice.h"
#include "sim/UsbTestbed.h"

#include <cerrno>
#include <cstdio>
#include <iostream>

#include <signal.h>
#include <sys/wait.h>

namespace sim {

namespace {

using Clock = std::chrono::steady_clock;

// The points a unit would have collected while somebody tumbled it.
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

void fillCalibrationStore(RunningDevice &device, unsigned count)
{
    device.change([count](Device &unit) {
        unit.calibrationStore().setPoints(tumbledPoints(count, unit.options().seed));
    });
}

// The units, whether they hang on ptys or in a testbed.
class Bench
{
public:
    virtual ~Bench() = default;
    virtual void powerCycle() = 0;
    virtual void unplug() = 0;
    virtual void plugIn() = 0;
};

class PtyBench : public Bench
{
public:
    explicit PtyBench(const Configuration &configuration)
        : m_device(configuration.device)
    {
        fillCalibrationStore(m_device, configuration.calibrationPoints);
        if (!configuration.link.empty())
            m_device.setLink(configuration.link);
        announce();
    }

    void powerCycle() override { m_device.powerCycle(); }
    void unplug() override { m_device.unplug(); }
    void plugIn() override
    {
        m_device.plugIn();
        announce();
    }

private:
    // A returning pty may have another path.
    void announce()
    {
        if (m_announced != m_device.path()) {
            m_announced = m_device.path();
            std::cout << m_announced << std::endl;
        }
    }

    RunningDevice m_device;
    std::string m_announced;
};

class UsbBench : public Bench
{
public:
    explicit UsbBench(const Configuration &configuration)
        : m_ports(configuration.ports)
    {
        DeviceOptions options = configuration.device;
        for (const std::string &port : m_ports) {
            fillCalibrationStore(m_testbed.plug(port, options), configuration.calibrationPoints);
            ++options.serialNumber;
            ++options.seed;
        }
    }

    void powerCycle() override
    {
        for (const std::string &port : m_ports)
            m_testbed.device(port).powerCycle();
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

private:
    UsbTestbed m_testbed;
    std::vector<std::string> m_ports;
};

// Waits for signals and the moments of the cable.
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
            // What the terminal sends reaches the command by itself.
            const bool meantForUs = signal.si_signo == SIGINT || signal.si_signo == SIGTERM;
            if (meantForUs && signal.si_code != SI_KERNEL)
                ::kill(child, signal.si_signo);
        }
    }

private:
    // The next signal; those for the units are dealt with.
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

sigset_t blockSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGCHLD})
        sigaddset(&signals, signal);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

} // namespace

int serve(const Configuration &configuration)
{
    const sigset_t signals = blockSignals();
    if (configuration.command.empty()) {
        PtyBench bench(configuration);
        return Watch(bench, configuration).runUntilInterrupted(signals);
    }
    UsbBench bench(configuration);
    const pid_t child = launch(configuration.command);
    return Watch(bench, configuration).runUntilEndOf(child, signals);
}

} // namespace sim
