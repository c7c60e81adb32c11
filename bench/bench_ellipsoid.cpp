// One ellipsoid fit, over 21 to 10000 readings of size 1 (gauss-like) and 50 (microtesla-like), the
// noise half a percent of the size. Around 50 a float cannot move by the millionth that ends the
// search, so most fits there run to their last iteration.
//
// Per fit: time, Gauss-Newton iterations, allocations; per iteration: time; and by how much the
// distance from the truth exceeds that of the same least squares solved in double.

#include "calibration/ellipsoid_fit.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include <benchmark/benchmark.h>

#include "tests/calibration/made_ellipsoid.h"
#include "tests/calibration/reference_fit.h"

namespace {

std::atomic<std::uint64_t> allocations{0};

} // namespace

// Eigen allocates by malloc, so counting operator new would miss it.
extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *malloc(std::size_t size) noexcept
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

namespace {

constexpr double kNoise = 0.005;

struct Trial
{
    MadeEllipsoid truth;
    ellipsoid::Samples samples;
};

std::vector<Trial> makeTrials(int count, double size)
{
    Maker maker(99);
    std::vector<Trial> trials(count > 1000 ? 10 : 50);
    for (Trial &trial : trials) {
        trial.truth = maker.ellipsoid(size);
        trial.samples = maker.samples(trial.truth, count, kNoise * size);
    }
    return trials;
}

struct Errors
{
    double centre = 0; // sums over all trials
    double shape = 0;

    void add(const Trial &trial, const Eigen::Matrix3d &fitted, const Eigen::Vector3d &at)
    {
        centre += (at - trial.truth.centre).norm();
        shape += (fitted - trial.truth.shape()).norm();
    }
};

// Float over double; the worse of centre and shape. At most 1.01 is wanted.
double errorRatio(const std::vector<Trial> &trials)
{
    Errors single;
    Errors twice;
    for (const Trial &trial : trials) {
        const ellipsoid::Fit fit = ellipsoid::fit(trial.samples);
        single.add(trial, fit.shape.cast<double>(), fit.centre.cast<double>());
        const reference::Fit best = reference::leastSquares(trial.samples);
        twice.add(trial, best.shape, best.centre);
    }
    return std::max(single.centre / twice.centre, single.shape / twice.shape);
}

void fitEllipsoid(benchmark::State &state)
{
    const std::vector<Trial> trials =
        makeTrials(static_cast<int>(state.range(0)), static_cast<double>(state.range(1)));
    std::size_t next = 0;
    std::uint64_t iterations = 0;
    const std::uint64_t before = allocations;
    for (auto _ : state) {
        const ellipsoid::Fit fit = ellipsoid::fit(trials[next].samples);
        benchmark::DoNotOptimize(fit);
        iterations += static_cast<std::uint64_t>(fit.iterations);
        next = (next + 1) % trials.size();
    }
    const auto total = static_cast<double>(allocations - before);
    const auto steps = static_cast<double>(iterations);
    using benchmark::Counter;
    state.counters["iterations"] = Counter(steps, Counter::kAvgIterations);
    state.counters["allocations"] = Counter(total, Counter::kAvgIterations);
    state.counters["s/iteration"] = Counter(steps, Counter::kIsRate | Counter::kInvert);
    state.counters["error_ratio"] = errorRatio(trials);
}

} // namespace

BENCHMARK(fitEllipsoid)
    ->ArgNames({"N", "size"})
    ->ArgsProduct({{21, 100, 1000, 10000}, {1, 50}})
    ->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
