// Measures the memory of the window while its GUI thread is blocked and a device sends full output
// at 1000 Hz. Each sample waits as queued calls for the plot, the pose view and the texts of the
// panel.
//
//     bench_backlog [seconds]      (default: 90)
//
// Three passes in the same process: all outputs, quaternions only, and all outputs again. The third
// shows how much memory of the first pass it reuses. Prints the resident memory in MiB: before the
// block, at the end of the block, five seconds after the queue is empty, without the device, and
// after an additional malloc_trim(). That last step frees almost nothing if the program has already
// returned its memory.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include <malloc.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTest>
#include <QTimer>

#include "app/application.h"
#include "app/main_window.h"
#include "app/quiet_exit.h"
#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"

using namespace std::chrono_literals;

namespace {

constexpr unsigned int kBaud = 1'000'000;
constexpr std::uint16_t kEveryOutput = 0x007F;

double residentMiB()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0)
            return std::atof(line.c_str() + 6) / 1024.0;
    }
    return 0.0;
}

void runEventsFor(std::chrono::milliseconds time)
{
    QEventLoop loop;
    QTimer::singleShot(time, &loop, &QEventLoop::quit);
    loop.exec();
}

sim::DeviceOptions device(std::uint16_t outputs)
{
    sim::DeviceOptions options;
    options.settings.baud = kBaud;
    options.settings.rateHz = 1000;
    options.settings.outputs = outputs;
    return options;
}

void pass(const char *name, std::uint16_t outputs, imu &driver, std::chrono::seconds duration)
{
    sim::ImuSimulatorServer source(device(outputs));
    driver.connect(source.path(), kBaud, 8, 0, 1);
    runEventsFor(3s);

    const double before = residentMiB();
    const auto samplesBefore = driver.statistics().samples;
    std::this_thread::sleep_for(duration); // the GUI thread is blocked
    const double blocked = residentMiB();
    const auto samples = static_cast<double>(driver.statistics().samples - samplesBefore);

    QElapsedTimer time;
    time.start();
    QCoreApplication::sendPostedEvents();
    const double drainSeconds = static_cast<double>(time.elapsed()) / 1000.0;
    runEventsFor(5s);
    const double drained = residentMiB();
    driver.disconnect();
    runEventsFor(1s);
    const double idle = residentMiB();
    malloc_trim(0);
    std::printf("%-18s %8.0f   %7.1f %7.1f %7.1f %7.1f %7.1f   %9.0f   %8.1f\n", name, samples,
                before, blocked, drained, idle, residentMiB(),
                (blocked - before) * 1024.0 * 1024.0 / samples, drainSeconds);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    const std::chrono::seconds duration(argc > 1 ? std::max(1, std::atoi(argv[1])) : 90);
    quiet_exit::install();
    Application application(argc, argv);
    auto *window = new MainWindow;
    window->show();
    if (!QTest::qWaitForWindowExposed(window))
        return 1;
    auto *driver = window->findChild<imu *>();
    std::printf("%-18s %8s   %7s %7s %7s %7s %7s   %9s   %8s\n", "resident, MiB", "samples",
                "before", "blocked", "drained", "idle", "trimmed", "B/sample", "drain, s");
    pass("every output", kEveryOutput, *driver, duration);
    pass("quaternions", protocol::OUT_QUATERNION, *driver, duration);
    pass("every output again", kEveryOutput, *driver, duration);
    quiet_exit::exitOnTerminate(0);
    delete window;
}
