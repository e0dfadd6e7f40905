#include "text.h"

#include <algorithm>

#include <morbase/text.h>

#include "shared/utf8.h"

namespace kivplug {

namespace {

// In characters, as far as UTF-8 goes: continuation bytes take no place of their own.
std::size_t width(std::string const& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
    }));
}

std::string escaped(unsigned char byte) {
    switch (byte) {
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        default:
            return morbase::string_with_format("\\x%02x", static_cast<unsigned int>(byte));
    }
}

std::vector<std::size_t> column_widths(std::vector<std::vector<std::string>> const& rows) {
    std::vector<std::size_t> widths;
    for (auto const& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], width(row[i]));
        }
    }
    return widths;
}

}  // namespace

bool is_control(unsigned long code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x61c || code == 0x200e ||
           code == 0x200f || (code >= 0x2028 && code <= 0x202e) ||
           (code >= 0x2066 && code <= 0x2069);
}

std::string printable(std::string const& text) {
    std::string line;
    for (std::size_t place = 0; place < text.size();) {
        auto const next = bundled::decoded(text, place);
        bool const is_shown = next.length > 0 && !is_control(next.code);
        std::size_t const end = place + std::max<std::size_t>(next.length, 1);
        for (; place < end; ++place) {
            auto const byte = static_cast<unsigned char>(text[place]);
            line += is_shown ? std::string(1, text[place]) : escaped(byte);
        }
    }
    return line;
}

std::vector<std::string> split(std::string const& text, char separator) {
    std::vector<std::string> pieces;
    for (std::size_t start = 0; start < text.size();) {
        std::size_t const end = std::min(text.find(separator, start), text.size());
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

std::string quoted(std::string const& text) {
    return "'" + printable(text) + "'";
}

std::string table(std::vector<std::vector<std::string>> cells, std::size_t gap) {
    for (auto& row : cells) {
        std::transform(row.begin(), row.end(), row.begin(), printable);
    }
    auto const widths = column_widths(cells);
    std::string lines;
    for (auto const& row : cells) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i] + std::string(widths[i] - width(row[i]) + gap, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines += line + '\n';
    }
    return lines;
}

}  // namespace kivplug
