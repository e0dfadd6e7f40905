// Random numbers that are the same everywhere for the same seed. The distributions of the standard
// library are not: each implementation has its own.

#ifndef KIVPLUG_CONTRACT_DICE_H
#define KIVPLUG_CONTRACT_DICE_H

#include <cstddef>
#include <random>

namespace kivplug {

class dice {
  public:
    explicit dice(unsigned long long seed) : engine(seed) {}

    // A number from 0 up to below count, which must be positive.
    long long below(long long count) {
        return static_cast<long long>(engine() % static_cast<unsigned long long>(count));
    }

    template <typename type, std::size_t count>
    type const& one_of(type const (&choices)[count]) {
        return choices[below(static_cast<long long>(count))];
    }

    // A place in something of this size, often at or near an edge: of the whole, or of a block
    // whose size is a power of two. At times it is outside, at times far outside.
    long long place(long long size);

  private:
    std::mt19937_64 engine;
};

}  // namespace kivplug

#endif
