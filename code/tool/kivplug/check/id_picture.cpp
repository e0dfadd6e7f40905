#include "id_picture.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

#include "text.h"

namespace kivplug {

namespace {

// In the picture's units. It is scaled to the page's width.
constexpr int k_row = 26;
constexpr int k_width = 900;
constexpr int k_directory_end = 300;
constexpr int k_id_start = 480;
constexpr std::size_t k_most_letters = 44;
constexpr std::size_t k_most_ids = 100;  // more lines are a tangle
constexpr std::size_t k_most_conflicts = 500;

// The directories that give each id, by their place in the report.
using givers = std::map<std::string, std::set<std::size_t>>;

givers givers_of(std::vector<checked_directory> const& all) {
    givers found;
    for (std::size_t place = 0; place < all.size(); ++place) {
        for (auto const& plugin : all[place].plugins) {
            for (auto const& id : plugin.ids) {
                found[id].insert(place);
            }
        }
    }
    return found;
}

bool is_conflict(givers::value_type const& entry) {
    return entry.second.size() > 1;
}

givers conflicts_among(givers const& ids) {
    givers found;
    std::copy_if(ids.begin(), ids.end(), std::inserter(found, found.end()), is_conflict);
    return found;
}

// The end of a long text says more than its start. Cut between characters.
std::string shortened(std::string const& text) {
    auto const shown = printable(text);
    if (shown.size() <= k_most_letters) {
        return html_text(shown);
    }
    auto start = shown.size() - k_most_letters;
    while (start < shown.size() && (static_cast<unsigned char>(shown[start]) & 0xc0U) == 0x80U) {
        ++start;
    }
    return "\u2026" + html_text(shown.substr(start));
}

int height_of(std::size_t row) {
    return static_cast<int>(row) * k_row + k_row;
}

std::string label(int across, std::size_t row, char const* kind, std::string const& text) {
    return "<text class=\"" + std::string(kind) + "\" x=\"" + std::to_string(across) + "\" y=\"" +
           std::to_string(height_of(row)) + "\"><title>" + html_text(text) + "</title>" +
           shortened(text) + "</text>\n";
}

std::string line(std::size_t from, std::size_t to, char const* kind) {
    int const start = height_of(from) - 4;
    int const end = height_of(to) - 4;
    int const middle = (k_directory_end + k_id_start) / 2;
    return "<path class=\"" + std::string(kind) + "\" d=\"M" + std::to_string(k_directory_end + 8) +
           " " + std::to_string(start) + " C" + std::to_string(middle) + " " +
           std::to_string(start) + " " + std::to_string(middle) + " " + std::to_string(end) + " " +
           std::to_string(k_id_start - 8) + " " + std::to_string(end) + "\"/>\n";
}

// What is in which row of the picture.
struct picture_rows {
    std::map<std::size_t, std::size_t> directories;
    std::map<std::string, std::size_t> ids;
    std::size_t count = 0;
};

// Each id is in the row of the first directory that gives it, or below: only the lines of
// conflicts cross others.
picture_rows rows_of(givers const& ids) {
    std::map<std::size_t, std::vector<std::string>> first_given;
    for (auto const& [id, directories] : ids) {
        for (auto const directory : directories) {
            first_given[directory];
        }
        first_given[*directories.begin()].push_back(id);
    }
    picture_rows rows;
    for (auto const& [directory, given] : first_given) {
        rows.directories[directory] = rows.count;
        for (std::size_t i = 0; i < given.size(); ++i) {
            rows.ids[given[i]] = rows.count + i;
        }
        rows.count += std::max<std::size_t>(given.size(), 1);
    }
    return rows;
}

}  // namespace

std::string html_text(std::string const& text) {
    std::string escaped;
    for (char const each : printable(text)) {
        switch (each) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += each;
                break;
        }
    }
    return escaped;
}

std::string id_picture(std::vector<checked_directory> const& all) {
    auto ids = givers_of(all);
    bool const is_part = ids.size() > k_most_ids;
    if (is_part) {
        ids = conflicts_among(ids);
    }
    if (ids.empty() || ids.size() > k_most_conflicts) {
        return "";  // nothing to see, or too much
    }
    auto const rows = rows_of(ids);
    std::string drawn;
    for (auto const& [directory, row] : rows.directories) {
        drawn += label(k_directory_end, row, "directory", all[directory].path);
    }
    for (auto const& entry : ids) {
        std::size_t const row = rows.ids.at(entry.first);
        drawn += label(k_id_start, row, is_conflict(entry) ? "id conflict" : "id", entry.first);
        for (auto const directory : entry.second) {
            drawn +=
                line(rows.directories.at(directory), row, is_conflict(entry) ? "conflict" : "");
        }
    }
    return std::string(is_part
                           ? "<p>The picture has only the ids that several directories give.</p>\n"
                           : "") +
           "<div class=\"picture\"><svg role=\"img\" aria-label=\"Directories, the ids that they "
           "give, and conflicts\" viewBox=\"0 0 " +
           std::to_string(k_width) + " " + std::to_string(height_of(rows.count)) + "\">\n" + drawn +
           "</svg></div>\n";
}

}  // namespace kivplug
