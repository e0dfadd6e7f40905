#include "pattern.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace kivcore {

namespace {

// Steps times bytes.
constexpr std::uint64_t k_budget_of_a_search = 10000000000;
constexpr std::uint64_t k_least_budget_of_a_text = 20000000;
constexpr std::uint64_t k_most_steps = 10000000;  // the default limit of both libraries

// Characters that stand for themselves, whatever is around them.
bool is_plain(char c) {
    return c != '\0' && std::strchr("\\^$.[]|(){}?*+", c) == nullptr;
}

}  // namespace

std::string literal_start(std::string const& pattern) {
    if (pattern.find('|') != std::string::npos) {
        return {};  // another alternative may begin differently
    }
    auto const end = std::find_if_not(pattern.begin(), pattern.end(), is_plain);
    std::string start(pattern.begin(), end);
    if (!start.empty() && end != pattern.end()) {
        // A quantifier may follow, even after a comment, and may repeat the last character zero
        // times.
        start.pop_back();
    }
    return start;
}

bool has_calls_or_verbs(std::string const& pattern) {
    if (pattern.find("(*") != std::string::npos || pattern.find("\\g") != std::string::npos) {
        return true;
    }
    for (auto at = pattern.find("(?"); at != std::string::npos; at = pattern.find("(?", at + 2)) {
        if (pattern.find_first_of("R&P+-0123456789", at + 2) == at + 2) {
            return true;
        }
    }
    return false;
}

unsigned int steps_for(std::size_t text_bytes, std::size_t program_bytes, std::size_t texts) {
    std::uint64_t const budget =
        std::max<std::uint64_t>(k_budget_of_a_search / texts, k_least_budget_of_a_text);
    // One step does not read most bytes of a program.
    std::uint64_t const bytes_of_a_step = text_bytes + program_bytes / 4 + 1;
    return static_cast<unsigned int>(
        std::clamp<std::uint64_t>(budget / bytes_of_a_step, 1, k_most_steps));
}

}  // namespace kivcore
