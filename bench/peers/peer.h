// Shared by the programs that measure other libraries. Each prints lines of three words: the
// row with the same work, the number of plug-ins, nanoseconds for one.

#ifndef BENCH_PEERS_PEER_H
#define BENCH_PEERS_PEER_H

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <kivcore/plugin.h>

namespace peer {

using create_function = kivcore::plugin* (*)();

constexpr char const* k_image = BENCH_PLUGIN_DIR "/darwin/x86/plugin.so";
constexpr char const* k_create = "bench_create";

inline double median(std::vector<double> values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Prints the time for one operation: the median over all batches.
template <typename work>
void report(char const* row, int count, int operations, work const& batch) {
    std::vector<double> times;
    batch();
    for (int i = 0; i < 101; ++i) {
        auto const start = std::chrono::steady_clock::now();
        batch();
        std::chrono::duration<double, std::nano> const taken =
            std::chrono::steady_clock::now() - start;
        times.push_back(taken.count() / operations);
    }
    std::printf("%s %d %.1f\n", row, count, median(times));
}

// Prints the row `first_create`. `once` opens the shared object that the benchmark uses, binds,
// creates, releases and closes.
template <typename work>
void report_first_create(work const& once) {
    report("first_create", 1, 10, [&] {
        for (int i = 0; i < 10; ++i) {
            once();
        }
    });
}

// Keeps the compiler from optimising the object away.
inline void keep(void const* object) {
    asm volatile("" : : "r"(object) : "memory");
}

inline void create_and_release(create_function create) {
    delete create();
}

// In random order, like the ids of the benchmark.
inline std::vector<std::string> names(int count) {
    std::vector<std::string> made;
    for (int i = 0; i < count; ++i) {
        made.push_back("format" + std::to_string(i));
    }
    std::shuffle(made.begin(), made.end(), std::mt19937(1));
    return made;
}

}  // namespace peer

#endif
