#include "dice.h"

#include <climits>

namespace kivplug {

namespace {

// Too large for 32 bits, or for a sum in 64.
constexpr long long k_far[] = {LLONG_MAX,       LLONG_MIN, LLONG_MAX - 1,   1LL << 31,
                               (1LL << 31) - 1, 1LL << 32, (1LL << 32) + 1, 1LL << 40,
                               1LL << 62,       INT_MIN,   -(1LL << 32),    -(1LL << 32) - 1};

constexpr int k_largest_block = 20;  // its size is 2 to the power of this

}  // namespace

// Or next to it.
long long dice::block_edge(long long size) {
    int largest = 0;
    while (largest < k_largest_block && (1LL << (largest + 1)) <= size) {
        ++largest;
    }
    long long const block = 1LL << below(largest + 1);
    return block * (1 + below(size / block + 1)) + below(3) - 1;
}

long long dice::place(long long size) {
    switch (below(16)) {
        case 0:
        case 1:
            return 0;
        case 2:
            return 1;
        case 3:
        case 4:
            return size;
        case 5:
            return size - 1;
        case 6:
            return size + 1;
        case 7:
            return -1;
        case 8:
            return (1LL << below(k_largest_block + 1)) + below(3) - 1;
        case 9:
            return one_of(k_far);
        case 10:
            return (1LL << 32) + below(size + 1);
        case 11:
            return below(16);
        case 12:
            return block_edge(size);
        default:
            return below(size + 1);
    }
}

}  // namespace kivplug
