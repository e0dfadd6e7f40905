#include "archive_path.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>

#include "shared/utf8.h"

namespace archives {

namespace {

constexpr char k_scheme[] = "archive:";
constexpr char k_parent[] = "..";  // hosts must not resolve this component

struct code_range {
    unsigned long first;
    unsigned long last;
};

// Not printable: controls, direction marks and overrides, line and paragraph separators, the byte
// order mark, noncharacters.
constexpr code_range k_unprintable[] = {
    {0x0000, 0x001f}, {0x007f, 0x009f}, {0x061c, 0x061c}, {0x200e, 0x200f},
    {0x2028, 0x202e}, {0x2066, 0x2069}, {0xfeff, 0xfeff}, {0xfffe, 0xffff},
};

bool is_plain(char c) {
    bool const is_letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    bool const is_mark = c == '/' || c == '-' || c == '.' || c == '_' || c == '~';
    return is_letter || is_mark || (c >= '0' && c <= '9');
}

void append_escaped(std::string& out, char c) {
    constexpr char k_digits[] = "0123456789ABCDEF";
    auto const byte = static_cast<unsigned char>(c);
    out += '%';
    out += k_digits[byte >> 4U];
    out += k_digits[byte & 0xfU];
}

void append_encoded(std::string& out, std::string const& text) {
    for (char const c : text) {
        if (is_plain(c)) {
            out += c;
        } else {
            append_escaped(out, c);
        }
    }
}

// False for a "%" without two hexadecimal digits.
bool decode(std::string const& text, std::string& result) {
    result.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        unsigned char byte = 0;
        char const* const digits = text.data() + i + 1;
        bool const has_both = text.size() - i > 2;
        if (!has_both || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) {
            return false;
        }
        result += static_cast<char>(byte);
        i += 2;
    }
    return true;
}

bool parse_ordinal(std::string const& digits, unsigned int& ordinal) {
    char const* const end = digits.data() + digits.size();
    auto const [stop, error] = std::from_chars(digits.data(), end, ordinal);
    return error == std::errc() && stop == end && ordinal > 0;
}

// The next component. Moves position past the slash at its end.
std::string next_component(std::string const& path, std::size_t& position) {
    std::size_t const slash = std::min(path.find('/', position), path.size());
    std::string component = path.substr(position, slash - position);
    position = slash + 1;
    return component;
}

// The length of the printable character at this position; 0 if there is none.
std::size_t printable_length(std::string const& text, std::size_t position) {
    auto const found = bundled::decoded(text, position);
    bool const is_unprintable =
        std::any_of(std::begin(k_unprintable), std::end(k_unprintable),
                    [&](code_range r) { return found.code >= r.first && found.code <= r.last; });
    return is_unprintable ? 0 : found.length;
}

}  // namespace

bool parse(std::string const& text, archive_path& result) {
    result = archive_path();
    std::string const scheme = k_scheme;
    if (text.compare(0, scheme.size(), scheme) != 0) {
        result.archive = text;
        return true;
    }
    std::size_t const bang = text.find("!/");
    if (bang == std::string::npos) {
        return false;
    }
    std::size_t const inner = bang + 2;
    std::size_t const mark = std::min(text.find('?', inner), text.size());
    if (mark < text.size() && !parse_ordinal(text.substr(mark + 1), result.ordinal)) {
        return false;
    }
    return decode(text.substr(scheme.size(), bang - scheme.size()), result.archive) &&
           decode(text.substr(inner, mark - inner), result.inner);
}

std::string text_of(archive_path const& path) {
    std::string text = k_scheme;
    append_encoded(text, path.archive);
    text += '!';
    for (std::size_t position = 0; position < path.inner.size();) {
        std::string const component = next_component(path.inner, position);
        text += '/';
        if (component == k_parent) {
            text += "%2E%2E";
        } else {
            append_encoded(text, component);
        }
    }
    if (path.inner.empty() || path.inner.back() == '/') {
        text += '/';
    }
    if (path.ordinal > 1) {
        text += '?' + std::to_string(path.ordinal);
    }
    return text;
}

std::string entry_path(std::string const& name, bool is_directory) {
    std::string path;
    for (std::size_t position = 0; position < name.size();) {
        std::string const component = next_component(name, position);
        if (!component.empty() && component != ".") {
            path += component;
            path += '/';
        }
    }
    if (is_directory) {
        return path;
    }
    if (path.empty()) {
        return "unnamed";
    }
    path.pop_back();
    return path;
}

std::string readable(std::string const& text) {
    std::string result;
    for (std::size_t position = 0; position < text.size();) {
        std::size_t const length = printable_length(text, position);
        if (length == 0) {
            append_escaped(result, text[position]);
        }
        result.append(text, position, length);
        position += std::max<std::size_t>(length, 1);
    }
    return result;
}

std::string readable_name(std::string const& component) {
    return component == k_parent ? "%2E%2E" : readable(component);
}

}  // namespace archives
