#include "shrink.h"

#include <utility>

namespace kivplug {

namespace {

// Far more than sequences of a few dozen calls take.
constexpr int k_most_rounds = 300;

void add_without(std::vector<calls>& candidates, calls const& from, std::size_t first,
                 std::size_t count) {
    calls rest = from;
    auto const begin = rest.begin() + static_cast<std::ptrdiff_t>(first);
    rest.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
    candidates.push_back(std::move(rest));
}

// Leaves out runs of calls: long ones first, and those at the end first.
void leave_out_runs(std::vector<calls>& candidates, calls const& from) {
    for (std::size_t count = from.size() / 2; count > 0; count /= 2) {
        for (std::size_t first = from.size() - count + 1; first-- > 0;) {
            add_without(candidates, from, first, count);
        }
    }
}

// Leaves out two calls that are apart, such as a seek and the seek back.
void leave_out_pairs(std::vector<calls>& candidates, calls const& from) {
    for (std::size_t second = from.size(); second-- > 2;) {
        for (std::size_t first = second - 1; first-- > 0;) {
            calls rest = from;
            rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(second));
            add_without(candidates, rest, first, 1);
        }
    }
}

// Numbers nearer to zero, the nearest first.
std::vector<long long> smaller(long long number) {
    std::vector<long long> numbers;
    if (number < 0) {
        numbers.push_back(-(number + 1));  // positive, without an overflow
    }
    for (long long part = number; part != 0; part /= 2) {
        numbers.push_back(number - part);
    }
    return numbers;
}

void simplify_calls(std::vector<calls>& candidates, calls const& from) {
    for (std::size_t i = 0; i < from.size(); ++i) {
        auto const add = [&](call const& simpler) {
            candidates.push_back(from);
            candidates.back()[i] = simpler;
        };
        if (from[i].object != 0) {
            add({from[i].what, 0, from[i].origin, from[i].number});
        }
        if (from[i].origin != 0) {
            add({from[i].what, from[i].object, 0, from[i].number});
        }
        for (long long const number : smaller(from[i].number)) {
            add({from[i].what, from[i].object, from[i].origin, number});
        }
    }
}

void use_one_object(std::vector<calls>& candidates, calls const& from) {
    calls same = from;
    bool changes = false;
    for (auto& each : same) {
        changes = changes || each.object != 0;
        each.object = 0;
    }
    if (changes) {
        candidates.push_back(std::move(same));
    }
}

std::vector<calls> simpler_than(calls const& sequence) {
    std::vector<calls> candidates;
    use_one_object(candidates, sequence);
    leave_out_runs(candidates, sequence);
    leave_out_pairs(candidates, sequence);
    simplify_calls(candidates, sequence);
    return candidates;
}

}  // namespace

calls shrunk(calls sequence, first_broken const& ask) {
    for (int round = 0; round < k_most_rounds; ++round) {
        auto const candidates = simpler_than(sequence);
        auto const found = ask(candidates);
        if (!found) {
            break;
        }
        sequence = candidates[*found];
    }
    return sequence;
}

}  // namespace kivplug
