// The two implementations of kivcore's pattern.h, each in its own library, and the known
// differences between them.

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

// A pattern may mean different things if it contains one of the marks and, if there are others,
// also one of those. The example matches its text with only one of the two libraries.
struct difference {
    char const* reason;
    std::vector<std::string> marks;
    std::vector<std::string> others;
    char const* example;
    char const* text;
    bool matches_with_pcre2;
};

std::vector<difference> const& known_differences();

// Whether one of the known differences may apply to the pattern.
bool may_differ(std::string const& pattern);

}  // namespace support

#endif
