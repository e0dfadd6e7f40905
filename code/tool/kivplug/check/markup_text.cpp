#include "markup_text.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace kivplug {

namespace {

constexpr std::pair<std::string_view, char> k_predefined[] = {
    {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};

std::string utf8_of(unsigned long code) {
    std::string text;
    if (code < 0x80) {
        return {static_cast<char>(code)};
    }
    unsigned long const count = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;  // of bytes that follow
    unsigned long const mark = 0xff00UL >> (count + 1);
    text += static_cast<char>((mark | (code >> (6 * count))) & 0xffUL);
    for (unsigned long left = count; left-- > 0;) {
        text += static_cast<char>(0x80UL | ((code >> (6 * left)) & 0x3fUL));
    }
    return text;
}

}  // namespace

bool is_blank(std::string_view text) {
    return text.find_first_not_of(k_white_space) == std::string_view::npos;
}

std::string trimmed(std::string_view text) {
    std::size_t const start = std::min(text.find_first_not_of(k_white_space), text.size());
    return std::string(text.substr(start, text.find_last_not_of(k_white_space) + 1 - start));
}

std::string resolved(std::string_view name) {
    for (auto const& [known, character] : k_predefined) {
        if (name == known) {
            return {character};
        }
    }
    if (name.substr(0, 1) != "#") {
        return {};
    }
    bool const is_hexadecimal = name.substr(1, 1) == "x";
    name.remove_prefix(is_hexadecimal ? 2 : 1);
    unsigned long code = 0;
    auto const read =
        std::from_chars(name.data(), name.data() + name.size(), code, is_hexadecimal ? 16 : 10);
    return read.ec == std::errc() && code <= 0x10ffff ? utf8_of(code) : std::string();
}

std::size_t end_of_reference(std::string_view text, std::size_t start) {
    std::size_t const end = text.find_first_of(";<& \t\r\n", start + 1);
    return end < text.size() && text[end] == ';' ? end + 1 : 0;
}

std::string decoded(std::string_view raw) {
    std::string text;
    for (std::size_t at = 0; at < raw.size();) {
        std::size_t const end = raw[at] == '&' ? end_of_reference(raw, at) : 0;
        if (end != 0) {
            text += resolved(raw.substr(at + 1, end - at - 2));
            at = end;
        } else if (raw[at] == '\r') {
            text += '\n';
            at += raw.substr(at + 1, 1) == "\n" ? 2 : 1;
        } else {
            text += raw[at++];
        }
    }
    return text;
}

}  // namespace kivplug
