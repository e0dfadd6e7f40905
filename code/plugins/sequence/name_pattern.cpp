#include "name_pattern.h"

#include <algorithm>

namespace sequence {

namespace {

constexpr char const* k_digits = "0123456789";

bool starts_with(std::string const& text, std::string const& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool ends_with(std::string const& text, std::string const& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::size_t end_of_run(std::string const& text, char const* characters, std::size_t at) {
    return std::min(text.find_first_not_of(characters, at), text.size());
}

// The width in "d", "04d" and so on; 0 for anything else. "4d" is refused because it pads with
// spaces, which file names hardly ever contain.
std::size_t width_of_conversion(std::string const& conversion) {
    if (conversion == "d") {
        return 1;
    }
    std::string const digits = conversion.substr(0, conversion.size() - 1);
    if (digits.size() < 2 || digits[0] != '0' || digits[1] == '0' || digits.size() > 4) {
        return 0;
    }
    return std::stoul(digits);
}

}  // namespace

std::string name_pattern::parse(std::string const& text) {
    *this = name_pattern();
    std::string problem;
    std::size_t at = 0;
    while (at < text.size() && problem.empty()) {
        bool const is_escape = text.compare(at, 2, "%%") == 0 || text.compare(at, 2, "%#") == 0;
        if (is_escape) {
            (width == 0 ? before : after) += text[at + 1];
            at += 2;
        } else if (text[at] == '#' || text[at] == '%') {
            at = parse_field(text, at, problem);
        } else {
            (width == 0 ? before : after) += text[at++];
        }
    }
    if (problem.empty() && width == 0) {
        return "has no number field, such as #### or %04d, in its last component";
    }
    return problem;
}

// Parses the field that begins at `at`. Returns its end.
std::size_t name_pattern::parse_field(std::string const& text, std::size_t at,
                                      std::string& problem) {
    bool const is_conversion = text[at] == '%';
    std::size_t const end =
        is_conversion ? end_of_run(text, k_digits, at + 1) + 1 : end_of_run(text, "#", at);
    std::size_t found = end - at;
    if (is_conversion) {
        bool const is_decimal = end <= text.size() && text[end - 1] == 'd';
        found = is_decimal ? width_of_conversion(text.substr(at + 1, end - at - 1)) : 0;
    }
    if (found == 0) {
        problem = "has a % that is not part of %d, %04d (with any width), %% or %#";
    } else if (width != 0) {
        problem = "has more than one number field; write %# for a # in the names";
    } else if (found > k_max_digits) {
        problem = "has a number field of more than 18 digits";
    }
    width = found;
    return end;
}

std::string name_pattern::name_of(long long number) const {
    std::string const digits = std::to_string(number);
    std::size_t const zeros = digits.size() < width ? width - digits.size() : 0;
    return before + std::string(zeros, '0') + digits + after;
}

long long name_pattern::number_in(std::string const& name) const {
    if (!starts_with(name, before) || !ends_with(name, after) ||
        name.size() < before.size() + after.size() + width) {
        return -1;
    }
    std::string const digits =
        name.substr(before.size(), name.size() - before.size() - after.size());
    bool const is_number = digits.find_first_not_of(k_digits) == std::string::npos;
    bool const has_outgrown = digits.size() > width;
    if (!is_number || digits.size() > k_max_digits || (has_outgrown && digits[0] == '0')) {
        return -1;
    }
    return std::stoll(digits);
}

}  // namespace sequence
