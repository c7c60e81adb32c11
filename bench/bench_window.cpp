// Measures the main window while a device sends full output at 1000 Hz: the number of calls queued
// for the GUI thread, and the response time of a click.
//
//     bench_window [seconds]
//
// Waiting: calls queued for the GUI thread and not yet executed: samples for plot and pose view,
// texts for the panel. Both threads count, and a separate thread reads the counts every 100 ms.
// Answer: the time from a simulated mouse click on a menu title until the menu appears on the
// screen or disappears. It is read from the pixels of the screen, twice per millisecond. Clicks
// come at random times. Rate: the numbers of the rate label, one per second, and the samples that
// the device has sent in the same time.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <QElapsedTimer>
#include <QMenu>
#include <QMenuBar>
#include <QRegularExpression>
#include <QTest>

#include "app/application.h"
#include "app/main_window.h"
#include "app/quiet_exit.h"
#include "bench/conditions.h"
#include "bench/screen.h"
#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

constexpr unsigned int kBaud = 1'000'000;
constexpr auto kLookInterval = 100ms;
constexpr int kLooksInTenSeconds = 100;
constexpr auto kTimeout = 10s;

sim::DeviceOptions everythingAtOnce()
{
    sim::DeviceOptions options;
    options.settings.baud = kBaud;
    options.settings.rateHz = 1000;
    options.settings.outputs = 0x007F;
    return options;
}

template <typename Value>
Value quantile(std::vector<Value> values, double q)
{
    if (values.empty())
        return {};
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(q * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

// --- Waiting -----------------------------------------------------------------------------------

// Counts calls queued for the GUI thread. Connect it after all other receivers of the signals: a
// call counted as executed has then been executed there too.
class Queue
{
public:
    template <typename Sender, typename Signal>
    void count(Sender *sender, Signal signal, QObject *receiver)
    {
        QObject::connect(
            sender, signal, receiver, [this] { ++m_posted; }, Qt::DirectConnection);
        QObject::connect(sender, signal, receiver, [this] { ++m_made; });
    }

    // Reads m_made first: calls executed between the two reads are then included in m_posted.
    long waiting() const
    {
        const long made = m_made;
        return m_posted - made;
    }
    long posted() const { return m_posted; }

private:
    std::atomic<long> m_posted{0};
    std::atomic<long> m_made{0};
};

class QueueWatch
{
public:
    explicit QueueWatch(const Queue &queue)
        : m_queue(queue)
    {
    }

    void look() { m_depths.push_back(m_queue.waiting()); }

    void print(const char *name) const
    {
        const auto tenSeconds = std::min<std::ptrdiff_t>(
            kLooksInTenSeconds, static_cast<std::ptrdiff_t>(m_depths.size() / 2));
        const std::vector<long> first(m_depths.begin(), m_depths.begin() + tenSeconds);
        const std::vector<long> last(m_depths.end() - tenSeconds, m_depths.end());
        std::printf("%-22s %9ld   %6ld %6ld   %6ld %6ld   %6ld %6ld\n", name, m_queue.posted(),
                    quantile(first, 0.5), quantile(first, 1), quantile(last, 0.5),
                    quantile(last, 1), quantile(m_depths, 0.5), quantile(m_depths, 1));
    }

private:
    const Queue &m_queue;
    std::vector<long> m_depths;
};

// --- Clicking ----------------------------------------------------------------------------------

struct Target
{
    int x;
    int y;
    ScreenArea answer; // where the opened menu appears
};

Target helpMenu(const MainWindow &window)
{
    const auto *bar = window.findChild<QMenuBar *>();
    QAction *help = window.findChild<QMenu *>(u"menuHelp"_s)->menuAction();
    const QRect title = bar->actionGeometry(help);
    const QPoint middle = bar->mapToGlobal(title.center());
    const QPoint below = bar->mapToGlobal(title.bottomLeft()) + QPoint(4, 4);
    return {middle.x(), middle.y(), {below.x(), below.y(), 60, 30}};
}

// Clicks for `duration`. Returns the milliseconds from each click to its response. Stops at a click
// without a response.
std::vector<double> clickFor(std::chrono::seconds duration, const Target &target)
{
    const Screen screen;
    std::mt19937 random(1);
    std::uniform_int_distribution<int> pauseMs(30, 250);
    std::vector<double> answers;
    screen.point(target.x, target.y);
    std::this_thread::sleep_for(500ms);
    const auto end = Screen::Clock::now() + duration;
    Screen::Pixels shown = screen.look(target.answer);
    while (Screen::Clock::now() < end || answers.size() % 2 != 0) { // ends with it closed
        const auto clicked = screen.click();
        auto change = screen.awaitChange(target.answer, shown, kTimeout);
        if (!change) {
            std::printf("a click was not answered\n");
            break;
        }
        answers.push_back(std::chrono::duration<double, std::milli>(change->at - clicked).count());
        std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs(random)));
        shown = screen.look(target.answer); // a response may need more than one repaint
    }
    return answers;
}

void printAnswers(const char *name, const std::vector<double> &answers)
{
    std::printf("%-22s %9zu   %6.1f %6.1f %6.1f\n", name, answers.size(), quantile(answers, 0.5),
                quantile(answers, 0.99), quantile(answers, 1));
}

// --- Rate --------------------------------------------------------------------------------------

sim::DeviceOptions quaternionsAt(std::uint16_t rateHz)
{
    sim::DeviceOptions options;
    options.settings.baud = kBaud;
    options.settings.rateHz = rateHz;
    options.settings.outputs = protocol::OUT_QUATERNION;
    return options;
}

// Ignores the numbers of the first 2.5 s: their measuring intervals may begin before the device
// sends.
void printRateShown(MainWindow &window, imu &driver, std::uint16_t rateHz,
                    std::chrono::seconds duration)
{
    const sim::ImuSimulatorServer device(quaternionsAt(rateHz));
    driver.connect(device.path(), kBaud, 8, 0, 1);
    const QRegularExpression number(u"\\d+"_s);
    std::vector<double> shown;
    QObject context;
    QObject::connect(&window, &MainWindow::dataRateWrite, &context, [&](const QString &text) {
        shown.push_back(number.match(text).captured().toDouble());
    });
    QTest::qWait(2500);
    shown.clear();
    const std::uint64_t sentBefore = device.counters().samples;
    QElapsedTimer elapsed;
    elapsed.start();
    QTest::qWait(static_cast<int>(std::chrono::milliseconds(duration).count()));
    const double sentHz = static_cast<double>(device.counters().samples - sentBefore) * 1000.0 /
                          static_cast<double>(elapsed.elapsed());
    driver.disconnect();
    std::printf("%-22d %9zu   %6.1f   %6.1f %6.1f %6.1f\n", rateHz, shown.size(), sentHz,
                quantile(shown, 0), quantile(shown, 0.5), quantile(shown, 1));
}

// Runs a function in another thread while the event loop runs.
template <typename Function>
void beside(Function function)
{
    std::atomic<bool> over{false};
    std::thread thread([&] {
        function();
        over = true;
    });
    while (!over)
        QTest::qWait(1);
    thread.join();
}

} // namespace

int main(int argc, char **argv)
{
    const std::chrono::seconds duration(argc > 1 ? std::max(1, std::atoi(argv[1])) : 60);
    quiet_exit::install();
    Application application(argc, argv);
    std::printf("%s\n", conditions().c_str());

    auto *window = new MainWindow;
    window->move(0, 0);
    window->show();
    if (!QTest::qWaitForWindowExposed(window))
        return 1;
    auto *driver = window->findChild<imu *>();
    sim::ImuSimulatorServer device(everythingAtOnce());
    Queue samples;
    samples.count(driver, &imu::quaternionUpdated, window);
    Queue texts;
    for (const auto signal : {&MainWindow::DataQuaternionWrite, &MainWindow::DataEulerWrite,
                              &MainWindow::DataAccelerationWrite, &MainWindow::DataAngularRateWrite,
                              &MainWindow::DataMagneticFieldWrite, &MainWindow::DataCovarianceWrite,
                              &MainWindow::DataPressureWrite, &MainWindow::dataRateWrite})
        texts.count(window, signal, window);

    QTest::qWait(1000);
    const Target target = helpMenu(*window);
    std::vector<double> idleAnswers;
    beside([&] { idleAnswers = clickFor(std::min(duration, 10s), target); });

    driver->connect(device.path(), kBaud, 8, 0, 1);
    QTest::qWait(1000);
    QueueWatch sampleWatch(samples);
    QueueWatch textWatch(texts);
    std::vector<double> answers;
    beside([&] {
        std::thread clicker([&] { answers = clickFor(duration, target); });
        auto due = Screen::Clock::now();
        const auto end = due + duration;
        while (due < end) {
            std::this_thread::sleep_until(due += kLookInterval);
            sampleWatch.look();
            textWatch.look();
        }
        clicker.join();
    });
    const sim::LineCounters line = device.counters();
    const LinkStatistics decoded = driver->statistics();

    std::printf("\n%lld s; device sent %llu samples, %llu more did not fit its host's full queue; "
                "%llu decoded, %llu damaged\n",
                static_cast<long long>(duration.count()),
                static_cast<unsigned long long>(line.samples),
                static_cast<unsigned long long>(line.overrun),
                static_cast<unsigned long long>(decoded.samples),
                static_cast<unsigned long long>(decoded.damaged));
    std::printf("\n%-22s %9s   %13s   %13s   %13s\n", "waiting for the GUI", "calls", "first 10 s",
                "last 10 s", "all the time");
    std::printf("%-22s %9s   %6s %6s   %6s %6s   %6s %6s\n", "", "", "median", "max", "median",
                "max", "median", "max");
    sampleWatch.print("samples");
    textWatch.print("texts");
    std::printf("\n%-22s %9s   %6s %6s %6s\n", "click to answer, ms", "clicks", "median", "p99",
                "max");
    printAnswers("not connected", idleAnswers);
    printAnswers("at 1000 Hz", answers);
    driver->disconnect();
    std::printf("\n%-22s %9s   %6s   %20s\n%-22s %9s   %6s   %6s %6s %6s\n", "rate set, Hz",
                "shown", "sent", "shown", "", "times", "", "min", "median", "max");
    for (const std::uint16_t rateHz : {std::uint16_t{100}, std::uint16_t{1000}})
        printRateShown(*window, *driver, rateHz, std::min(duration, 30s));
    std::fflush(stdout);
    quiet_exit::exitOnTerminate(0);
    delete window;
}
