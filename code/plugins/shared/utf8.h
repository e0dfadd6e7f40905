// Decoding of UTF-8, to show texts of unknown origin.

#ifndef BUNDLED_UTF8_H
#define BUNDLED_UTF8_H

#include <cstddef>
#include <string>

namespace bundled {

struct character {
    unsigned long code = 0;
    std::size_t length = 0;  // in bytes; 0 if the text is not UTF-8
};

// The character that begins at position, which must be inside the text. Overlong forms and
// surrogates are not UTF-8.
inline character decoded(std::string const& text, std::size_t position) {
    constexpr unsigned long k_least[] = {0, 0, 0x80, 0x800, 0x10000};  // by length
    auto const lead = static_cast<unsigned char>(text[position]);
    if (lead < 0x80) {
        return {lead, 1};
    }
    std::size_t const length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || length > text.size() - position) {
        return {};
    }
    unsigned long code = lead & (0xffU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        auto const next = static_cast<unsigned char>(text[position + i]);
        if ((next & 0xc0U) != 0x80) {
            return {};
        }
        code = code << 6U | (next & 0x3fU);
    }
    bool const is_surrogate = code >= 0xd800 && code <= 0xdfff;
    bool const is_character = code >= k_least[length] && code <= 0x10ffff && !is_surrogate;
    return is_character ? character{code, length} : character{};
}

}  // namespace bundled

#endif
