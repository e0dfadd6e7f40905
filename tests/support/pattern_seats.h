// The two sources of kivcore's pattern.h side by side, each in a library of its own, and what
// is known to differ between them.

#ifndef SUPPORT_PATTERN_SEATS_H
#define SUPPORT_PATTERN_SEATS_H

#include <string>
#include <string_view>
#include <vector>

namespace support {

std::vector<std::string> matching_with_pcre2(std::string const& pattern,
                                             std::vector<std::string_view> const& texts);
std::vector<std::string> matching_with_pcrecpp(std::string const& pattern,
                                               std::vector<std::string_view> const& texts);

// Patterns that hold one of the marks and, where there are others, one of those as well may
// mean different things. The example matches its text with one of the two only.
struct difference {
    char const* reason;
    std::vector<std::string> marks;
    std::vector<std::string> others;
    char const* example;
    char const* text;
    bool matches_with_pcre2;
};

std::vector<difference> const& known_differences();

// Whether the pattern is like one of the examples.
bool may_differ(std::string const& pattern);

}  // namespace support

#endif
