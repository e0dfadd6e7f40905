// The first line of the input is a regular expression, the others are texts. The two libraries
// that kivcore can be built with must find the same, with few texts and with many.

#include <algorithm>
#include <cmath>
#include <iterator>

#include <support/pattern_seats.h>

#include "input.h"

namespace {

// With this many texts, patterns run as machine code if the library supports it.
constexpr std::size_t k_many = 100;

// PCRE, PCRE2 and its machine code count steps differently, so a match that may come near the bound
// on steps proves nothing.
bool is_cheap(std::string const& pattern, std::string_view text) {
    auto const quantifiers = std::count_if(pattern.begin(), pattern.end(),
                                           [](char c) { return c == '*' || c == '+' || c == '{'; });
    return std::pow(1.0 + static_cast<double>(quantifiers), static_cast<double>(text.size())) < 1e6;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::vector<std::string> const lines = fuzz::parts_of(fuzz::text_of(data, size), '\n');
    std::string const& pattern = lines.front();
    if (support::may_differ(pattern)) {
        return -1;
    }
    std::vector<std::string_view> texts;
    std::copy_if(lines.begin() + 1, lines.end(), std::back_inserter(texts),
                 [&](std::string const& line) { return is_cheap(pattern, line); });
    std::vector<std::string> const found = support::matching_with_pcre2(pattern, texts);
    fuzz::require(found == support::matching_with_pcrecpp(pattern, texts),
                  "PCRE2 and PCRE find the same");
    for (std::string_view const text : texts) {
        std::vector<std::string_view> const many(k_many, text);
        bool const is_found = std::find(found.begin(), found.end(), text) != found.end();
        fuzz::require(support::matching_with_pcre2(pattern, many).size() == (is_found ? k_many : 0),
                      "machine code finds the same");
    }
    return 0;
}
