// Random numbers that depend only on the seed. Those of the standard library's distributions also
// depend on its implementation.

#ifndef KIVPLUG_CONTRACT_DICE_H
#define KIVPLUG_CONTRACT_DICE_H

#include <cstddef>
#include <random>

namespace kivplug {

class dice {
  public:
    explicit dice(unsigned long long seed) : engine(seed) {}

    // A number from 0 to count - 1. count must be positive.
    long long below(long long count) {
        return static_cast<long long>(engine() % static_cast<unsigned long long>(count));
    }

    template <typename type, std::size_t count>
    type const& one_of(type const (&choices)[count]) {
        return choices[below(static_cast<long long>(count))];
    }

    // A position in something of this size, often at or near the start, the end or the edge of a
    // block whose size is a power of two. Some are outside, and some far outside.
    long long place(long long size);

  private:
    long long block_edge(long long size);

    std::mt19937_64 engine;
};

}  // namespace kivplug

#endif
