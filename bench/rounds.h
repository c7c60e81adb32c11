#pragma once

// Interleaved measurements in one program: each round runs every candidate once, so that other load
// of the machine affects all of them equally. Ratios are those of the medians.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace rounds {

inline double seconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Candidate
{
    std::string name;
    std::function<double()> nanosecondsPerByte;
    std::vector<double> results;

    double median() const
    {
        std::vector<double> sorted = results;
        std::sort(sorted.begin(), sorted.end());
        return sorted[sorted.size() / 2];
    }
};

// The number of rounds is the program's first argument, or `usual`.
inline int count(int argc, char **argv, int usual)
{
    return argc > 1 ? std::max(1, std::atoi(argv[1])) : usual;
}

inline void run(std::vector<Candidate> &candidates, int rounds)
{
    for (Candidate &candidate : candidates)
        candidate.nanosecondsPerByte(); // warm-up, not counted
    for (int round = 0; round < rounds; ++round) {
        for (Candidate &candidate : candidates)
            candidate.results.push_back(candidate.nanosecondsPerByte());
    }
}

// Prints the medians, and their ratios to the median of the first candidate.
inline void print(const std::vector<Candidate> &candidates)
{
    for (const Candidate &candidate : candidates) {
        const auto [least, greatest] =
            std::minmax_element(candidate.results.begin(), candidate.results.end());
        std::printf("%-44s %9.3f ns/byte  (%.3f to %.3f)  %6.2f x\n", candidate.name.c_str(),
                    candidate.median(), *least, *greatest,
                    candidate.median() / candidates.front().median());
    }
}

} // namespace rounds
