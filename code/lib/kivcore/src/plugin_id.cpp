#include "plugin_id.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include <kivcore/plugins.h>

namespace kivcore {

namespace {

// Reads a field of a version as a 32-bit strtoul would: skips leading blanks, accepts one sign,
// negates modulo 2^32 after a minus, stops at the first character that is not a digit, and
// returns the largest number on overflow.
unsigned int field_value(std::string_view field) {
    std::size_t const start = std::min(field.find_first_not_of(" \t\n\v\f\r"), field.size());
    std::string_view digits = field.substr(start);
    bool const negative = !digits.empty() && digits.front() == '-';
    if (negative || (!digits.empty() && digits.front() == '+')) {
        digits.remove_prefix(1);
    }
    unsigned int number = 0;  // the result if there is no digit
    auto const read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (read.ec == std::errc::result_out_of_range) {
        return 0xffffffffU;
    }
    return negative ? 0U - number : number;
}

// A version as one number: one byte for each of the first four fields, the first field in the
// highest byte. A field above 255 overflows into the bytes of the fields before it.
unsigned int version_key(std::string_view version) {
    unsigned int key = 0;
    for (unsigned int const shift : {24U, 16U, 8U, 0U}) {
        std::size_t const dot = std::min(version.find('.'), version.size());
        key |= field_value(version.substr(0, dot)) << shift;
        if (dot == version.size()) {
            break;
        }
        version.remove_prefix(dot + 1);
    }
    return key;
}

// If an id has only one field, the field is both its prefix and its version.
std::size_t prefix_length_of(std::string_view id) {
    return std::min(id.rfind('/'), id.size());
}

unsigned int version_of(std::string_view id, std::size_t prefix_length) {
    return version_key(prefix_length < id.size() ? id.substr(prefix_length + 1) : id);
}

}  // namespace

void tokenize(std::string const& s, char sep, std::vector<std::string>& out) {
    std::size_t start = 0;
    for (std::size_t p = s.find(sep); p != std::string::npos; p = s.find(sep, start)) {
        out.emplace_back(s, start, p - start);
        start = p + 1;
    }
    out.emplace_back(s, start);
}

ranked_id ranked(std::string_view id) {
    std::size_t const prefix_length = prefix_length_of(id);
    return {id, prefix_length, version_of(id, prefix_length)};
}

bool operator<(ranked_id const& a, ranked_id const& b) {
    if (int const order = a.prefix().compare(b.prefix()); order != 0) {
        return order < 0;
    }
    return a.version != b.version ? a.version > b.version : a.text < b.text;
}

bool version_greater::operator()(std::string const& a, std::string const& b) const {
    return version_key(a) > version_key(b);
}

bool plugin_id_less::operator()(std::string const& a, std::string const& b) const {
    std::size_t const prefix_length = prefix_length_of(a);
    int const order = a.compare(0, prefix_length, b, 0, prefix_length_of(b));
    return order != 0 ? order < 0 : version_of(a, prefix_length) > version_of(b, prefix_length);
}

}  // namespace kivcore
