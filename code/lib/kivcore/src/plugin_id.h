// Plug-in ids as texts: their fields, and the parts that determine their order.

#ifndef KIVCORE_PLUGIN_ID_H
#define KIVCORE_PLUGIN_ID_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kivcore {

// Appends the fields of s to out: n separators give n + 1 fields, including empty ones.
void tokenize(std::string const& s, char sep, std::vector<std::string>& out);

// An id, and what determines its place in the order of plugin_id_less. Does not copy the text.
struct ranked_id {
    std::string_view text;
    std::size_t prefix_length;  // up to the last "/"
    unsigned int version;

    std::string_view prefix() const { return text.substr(0, prefix_length); }
};

ranked_id ranked(std::string_view id);

// The order of plugin_id_less; equivalent ids are ordered by their bytes.
bool operator<(ranked_id const& a, ranked_id const& b);

}  // namespace kivcore

#endif
