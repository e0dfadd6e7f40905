#include "text.h"

#include <algorithm>

#include <morbase/text.h>

namespace kivplug {

namespace {

// In characters, as far as UTF-8 goes: continuation bytes take no place of their own.
std::size_t width(std::string const& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
    }));
}

std::string shown(char c) {
    auto const byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7f) {
        return {c};
    }
    switch (c) {
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

std::string printable(std::string const& text) {
    std::string line;
    for (char const c : text) {
        line += shown(c);
    }
    return line;
}

std::string quoted(std::string const& text) {
    return "'" + printable(text) + "'";
}

std::string table(std::vector<std::vector<std::string>> const& rows, std::size_t gap) {
    auto cells = rows;
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
