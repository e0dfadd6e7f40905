// Measures a piece of work and the least code that does the same, its floor. The two run
// alternately in short batches: on a busy machine absolute times vary, but the ratio of two
// neighbouring batches hardly does. Each benchmark reports the median of the paired ratios,
// and for each side the median and the minimum time per operation.

#ifndef BENCH_PAIRED_H
#define BENCH_PAIRED_H

#include <algorithm>
#include <chrono>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

inline double median(std::vector<double> values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <typename work>
double seconds(work const& run) {
    auto const start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Runs batches of both until the benchmark ends. Each call of `ours` and of `floor` does the
// same `operations` operations.
template <typename our_work, typename floor_work>
void run_pair(benchmark::State& state, double operations, our_work const& ours,
              floor_work const& floor) {
    std::vector<double> our_times;
    std::vector<double> floor_times;
    std::vector<double> ratios;
    floor();
    ours();
    bool floor_first = true;
    for (auto _ : state) {
        double floor_time = floor_first ? seconds(floor) : 0;
        double const our_time = seconds(ours);
        floor_time = floor_first ? floor_time : seconds(floor);
        floor_first = !floor_first;
        state.SetIterationTime(our_time);
        our_times.push_back(our_time / operations * 1e9);
        floor_times.push_back(floor_time / operations * 1e9);
        ratios.push_back(our_time / floor_time);
    }
    state.counters["ratio"] = median(ratios);
    state.counters["ns"] = median(our_times);
    state.counters["ns_min"] = *std::min_element(our_times.begin(), our_times.end());
    state.counters["floor_ns"] = median(floor_times);
    state.counters["floor_ns_min"] = *std::min_element(floor_times.begin(), floor_times.end());
}

}  // namespace bench

#endif
