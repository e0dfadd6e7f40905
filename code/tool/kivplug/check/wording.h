// Names as findings give them.

#ifndef KIVPLUG_CHECK_WORDING_H
#define KIVPLUG_CHECK_WORDING_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kivplug {

using symbol_names = std::set<std::string, std::less<>>;

std::string in_quotes(std::string_view text);

// in_quotes, cut to a length that fits a line.
std::string named(std::string_view text);

// "a", "b" and "c", each named.
template <typename list>
std::string all_named(list const& texts, char const* last_joint = " and ") {
    std::string made;
    std::size_t left = texts.size();
    for (auto const& each : texts) {
        made += named(each);
        --left;
        made += left > 1 ? ", " : left == 1 ? last_joint : "";
    }
    return made;
}

// The declaration of a C++ function or variable. The symbol itself if it is not of C++, and only
// the start of a long one.
std::string declaration_of(std::string_view symbol);

// "a", "b", "c" and 4 others
std::string listed(std::vector<std::string_view> const& names);

// How many characters must be added, removed, replaced or swapped with the next to turn one into
// the other.
std::size_t distance_between(std::string_view one, std::string_view other);

}  // namespace kivplug

#endif
