#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <malloc.h>
#include <time.h>

/// Measures times and memory. A program of bench/ reports each result as a line "name value".
namespace bench {

using Clock = std::chrono::steady_clock;

inline void require(bool holds, const char *what) {
    if (holds)
        return;
    std::fprintf(stderr, "failed: %s\n", what);
    std::_Exit(1);
}

inline void report(const char *name, double value) {
    std::printf("%s %.10g\n", name, value);
}

template <class Work>
double milliseconds(Work work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// Returns the processor time of this thread, which excludes the time of other programs.
template <class Work>
double processorMilliseconds(Work work) {
    const auto now = [] {
        timespec time = {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    };
    const double start = now();
    work();
    return now() - start;
}

inline double median(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

/// True when a run checks only the values, so that times do not matter.
inline const bool isCheck = std::getenv("BENCH_CHECK") != nullptr;

/// Returns the median of five calls of `sample`, or of fewer once a second has passed.
template <class Sample>
double medianOf(Sample sample) {
    std::vector<double> samples;
    const auto end = Clock::now() + std::chrono::seconds(1);
    do {
        samples.push_back(sample());
    } while (samples.size() < 5 && Clock::now() < end && !isCheck);
    return median(samples);
}

/// Returns the bytes in use as malloc counts them, including its own overhead.
inline double heap() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// Returns a memory size of this process in bytes: "VmRSS:" is the present size, "VmHWM:" the peak.
inline double memory(const std::string &field) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == field && status >> word)
            return std::stod(word) * 1024;
    return 0;
}

/// Returns the processor time of one step in nanoseconds. `pass` makes `count` steps. A sample has
/// at least 100,000 steps.
template <class Pass>
double perStep(int count, Pass pass) {
    const int passes = isCheck ? 1 : std::max(1, 100000 / count);
    const auto sample = [&] {
        for (int i = 0; i < passes; ++i)
            pass();
    };
    return medianOf([&] { return processorMilliseconds(sample) * 1e6 / passes / count; });
}

} // namespace bench
