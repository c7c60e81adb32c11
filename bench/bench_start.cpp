// Measures the time from the start of the program's process to its first frame on the screen.
//
//     bench_start PROGRAM [starts]
//
// The first frame is complete when the area of the pose view, in the right half of the window,
// shows more than one colour. Then floor grid and axes are drawn, and everything else too, because
// a window with a GL view is composed as a whole. The benchmark reads the pixels of the screen from
// another process. One uncounted start fills the file caches.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QGuiApplication>

#include "bench/conditions.h"
#include "bench/screen.h"

using namespace std::chrono_literals;
using Clock = Screen::Clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

namespace {

constexpr auto kTimeout = 60s;
constexpr int kSmallestWidth = 800;
constexpr int kSmallestHeight = 600;

struct Start
{
    Milliseconds mapped; // the window is mapped, possibly without contents
    Milliseconds drawn;
};

// The process of the program. The destructor kills it and reaps it, so that no zombie remains.
class Process
{
public:
    explicit Process(char *program)
    {
        char *const arguments[] = {program, nullptr};
        if (::posix_spawn(&m_id, program, nullptr, nullptr, arguments, environ) != 0) {
            std::perror(program);
            std::exit(1);
        }
    }
    ~Process()
    {
        ::kill(m_id, SIGKILL);
        ::waitpid(m_id, nullptr, 0);
    }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

private:
    pid_t m_id = -1;
};

bool showsMoreThanOneColour(const Screen::Pixels &pixels)
{
    constexpr std::size_t kPixel = 4;
    for (std::size_t at = kPixel; at + kPixel <= pixels.size(); at += kPixel) {
        if (std::memcmp(pixels.data(), pixels.data() + at, kPixel - 1) != 0)
            return true;
    }
    return false;
}

// A few lines of pixels through the middle of the pose view: enough to include the grid, and fast
// to read.
ScreenArea middleOfPose(const ScreenArea &window)
{
    return {window.x + window.width * 6 / 10, window.y + window.height * 6 / 10,
            window.width * 3 / 10, window.height / 10};
}

std::optional<Start> start(const Screen &screen, char *program)
{
    const auto begin = Clock::now();
    const Process process(program);
    std::optional<Clock::time_point> mapped;
    while (Clock::now() < begin + kTimeout) {
        const auto window = screen.shownWindow(kSmallestWidth, kSmallestHeight);
        if (window && !mapped)
            mapped = Clock::now();
        if (window && showsMoreThanOneColour(screen.look(middleOfPose(*window))))
            return Start{*mapped - begin, Clock::now() - begin};
        std::this_thread::sleep_for(1ms);
    }
    return std::nullopt;
}

bool awaitNoWindow(const Screen &screen)
{
    for (const auto end = Clock::now() + kTimeout; Clock::now() < end;) {
        if (!screen.shownWindow(kSmallestWidth, kSmallestHeight))
            return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

void print(const char *name, std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    std::printf("%-26s %7.0f ms  (%.0f to %.0f)\n", name, values[values.size() / 2], values.front(),
                values.back());
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_start PROGRAM [starts]\n");
        return 2;
    }
    const int starts = argc > 2 ? std::max(1, std::atoi(argv[2])) : 11;
    const QGuiApplication application(argc, argv);
    std::printf("%s\n", conditions().c_str());

    const Screen screen;
    std::vector<double> mapped;
    std::vector<double> drawn;
    for (int i = 0; i <= starts; ++i) {
        const auto started = start(screen, argv[1]);
        if (!started || !awaitNoWindow(screen)) {
            std::printf("no window within %lld s, or one that stays\n",
                        static_cast<long long>(kTimeout.count()));
            return 1;
        }
        if (i == 0)
            continue;
        mapped.push_back(started->mapped.count());
        drawn.push_back(started->drawn.count());
    }
    std::printf("%d starts, median (least to greatest)\n", starts);
    print("process to window mapped", mapped);
    print("process to first frame", drawn);
}
