#include "wording.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <utility>

namespace kivplug {

namespace {

constexpr std::size_t k_longest_name = 60;

// A name can be made whose declaration grows with a power of its length.
constexpr std::size_t k_longest_symbol = 128;

struct free_text {
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what the library makes
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

std::string in_quotes(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

std::string named(std::string_view text) {
    if (text.size() <= k_longest_name) {
        return in_quotes(text);
    }
    std::size_t end = k_longest_name;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80) {
        --end;  // not within a character
    }
    return in_quotes(std::string(text.substr(0, end)) + "...");
}

std::string declaration_of(std::string_view symbol) {
    std::string name(symbol);
    if (name.size() > 2 * k_longest_symbol) {
        return name.substr(0, 2 * k_longest_symbol) + "...";
    }
    if (name.size() > k_longest_symbol || name.compare(0, 2, "_Z") != 0) {
        return name;
    }
    int status = 0;
    std::unique_ptr<char, free_text> const text(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status));
    return text ? text.get() : name;
}

std::string listed(std::vector<std::string_view> const& names) {
    constexpr std::size_t k_most = 3;
    std::string text;
    for (std::size_t i = 0; i < std::min(names.size(), k_most); ++i) {
        bool const is_last = i > 0 && i + 1 == names.size();
        text += (i == 0 ? "" : is_last ? " and " : ", ") + in_quotes(declaration_of(names[i]));
    }
    if (names.size() > k_most) {
        auto const left = names.size() - k_most;
        text += " and " + std::to_string(left) + (left == 1 ? " other" : " others");
    }
    return text;
}

std::size_t distance_between(std::string_view one, std::string_view other) {
    std::vector<std::size_t> above;  // cppcheck-suppress variableScope; keeps its memory
    std::vector<std::size_t> last(other.size() + 1);
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= one.size(); ++i) {
        above = std::exchange(last, row);
        row[0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            std::size_t const replaced = last[j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
                row[j] = std::min(row[j], above[j - 2] + 1);
            }
        }
    }
    return row.back();
}

}  // namespace kivplug
