// Measures one ellipsoid fit, over 21 to 10000 raw magnetometer readings of magnitude 1 (as in
// gauss) and 50 (as in microtesla). The noise is 0.5 % of the magnitude. Near 50 the resolution of
// a float is coarser than the step of 1e-6 that ends the search, so most fits there use all
// iterations.
//
// Prints per fit: time, Gauss-Newton iterations, allocations; per iteration: time; and the ratio of
// the error to that of the same least squares problem solved in double. For comparison: one
// iteration in straightforward single-precision Eigen code, with columns and general products.

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include <benchmark/benchmark.h>

#include "fit/ellipsoid_fit.h"
#include "tests/fit/made_ellipsoid.h"
#include "tests/fit/reference_fit.h"

namespace {

std::atomic<std::uint64_t> allocations{0};

} // namespace

// Counts calls of malloc, because Eigen does not allocate through operator new.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): glibc's name
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
    ellipsoid::Readings samples;
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

// Error in float divided by error in double; the larger of centre and shape. Target: at most 1.01.
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
    state.counters["iterations_per_fit"] = Counter(steps, Counter::kAvgIterations);
    state.counters["allocations"] = Counter(total, Counter::kAvgIterations);
    state.counters["s/iteration"] = Counter(steps, Counter::kIsRate | Counter::kInvert);
    state.counters["error_ratio"] = errorRatio(trials);
}

// Starts at the true parameters; the starting point does not affect the time of a step.
void plainIteration(benchmark::State &state)
{
    const std::vector<Trial> trials =
        makeTrials(static_cast<int>(state.range(0)), static_cast<double>(state.range(1)));
    const Trial &trial = trials.front();
    const Eigen::MatrixX3f points = reference::asRows(trial.samples).cast<float>();
    const Eigen::Matrix3f shape = trial.truth.shape().cast<float>();
    const Eigen::RowVector3f centre = trial.truth.centre.cast<float>().transpose();
    Eigen::Matrix<float, Eigen::Dynamic, 9> jacobian(points.rows(), 9);
    Eigen::VectorXf residual(points.rows());
    for (auto _ : state) {
        const Eigen::MatrixX3f d = points.rowwise() - centre;
        const Eigen::MatrixX3f ad = d * shape;
        residual = ad.cwiseProduct(d).rowwise().sum().array() - 1;
        for (int i = 0, column = 0; i < 3; ++i) {
            for (int k = i; k < 3; ++k, ++column)
                jacobian.col(column) = (i == k ? 1.0F : 2.0F) * d.col(i).cwiseProduct(d.col(k));
        }
        jacobian.rightCols<3>() = -2 * ad;
        Eigen::Matrix<float, 9, 9> normal = jacobian.transpose() * jacobian;
        normal.diagonal().array() += 1e-6F;
        const Eigen::Matrix<float, 9, 1> gradient = jacobian.transpose() * residual;
        const Eigen::Matrix<float, 9, 1> step = -normal.ldlt().solve(gradient);
        benchmark::DoNotOptimize(step);
    }
    state.counters["s/iteration"] =
        benchmark::Counter(static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

BENCHMARK(plainIteration)
    ->ArgNames({"N", "size"})
    ->ArgsProduct({{21, 100, 1000, 10000}, {1, 50}})
    ->Unit(benchmark::kMicrosecond);

BENCHMARK(fitEllipsoid)
    ->ArgNames({"N", "size"})
    ->ArgsProduct({{21, 100, 1000, 10000}, {1, 50}})
    ->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
