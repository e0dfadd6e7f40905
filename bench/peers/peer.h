// What the programs that measure other libraries share. Each prints lines of three
// words: the row whose work it does, how many plug-ins there are, nanoseconds for one.

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

// Prints the median over batches of the time for one of the operations in a batch.
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

// Opening the same shared object as the benchmark does, binding, creating, releasing and
// closing: `once` is given an owner's work to do with the function.
template <typename work>
void report_first_create(work const& once) {
    report("first_create", 1, 10, [&] {
        for (int i = 0; i < 10; ++i) {
            once();
        }
    });
}

// Makes the compiler believe that the object is looked at.
inline void keep(void const* object) {
    asm volatile("" : : "r"(object) : "memory");
}

inline void create_and_release(create_function create) {
    delete create();
}

// In random order, as the benchmark asks for its ids.
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
