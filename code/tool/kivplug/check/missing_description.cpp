#include "missing_description.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <vector>

#include "descriptor.h"
#include "markup.h"
#include "shared/directory.h"
#include "vocabulary.h"
#include "wording.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

constexpr char const* k_file = "plugin.xml";
constexpr std::size_t k_most_entries = 10000;  // that are looked at for what was meant
constexpr int k_most_levels = 3;               // the same
constexpr std::size_t k_looked_at = 4096;      // bytes of a file, the same
constexpr std::size_t k_other_xml = 3;         // how unlike a name is that only ends in .xml

bool is_there(fs::path const& path) {
    std::error_code unknown;
    return fs::exists(path, unknown);
}

bool is_file(fs::path const& path) {
    std::error_code unknown;
    return fs::is_regular_file(path, unknown);
}

// By name. What cannot be listed is empty.
std::vector<std::string> entries_of(fs::path const& directory) {
    bundled::directory_handle const opened(opendir(directory.c_str()));
    std::vector<std::string> names;
    while (dirent const* entry = opened ? readdir(opened.get()) : nullptr) {
        if (names.size() < k_most_entries && std::strcmp(entry->d_name, ".") != 0 &&
            std::strcmp(entry->d_name, "..") != 0) {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// How unlike the file's name is to plugin.xml; k_nowhere for one that is none of its forms.
std::size_t unlikeness(std::string const& name) {
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char each) { return static_cast<char>(std::tolower(each)); });
    if (lower == k_file) {
        return 0;
    }
    if (!meant_word(lower, {k_file}).empty()) {
        return 1;
    }
    bool const is_other_form =
        lower.find("plugin") != std::string::npos && lower.find("xml") != std::string::npos;
    bool const is_xml = lower.size() > 4 && lower.compare(lower.size() - 4, 4, ".xml") == 0;
    return is_other_form ? 2 : is_xml ? k_other_xml : k_nowhere;
}

// By its start. Of a file with another name, that has to be about a plug-in.
bool is_description(fs::path const& path, bool has_other_name) {
    auto const file = bundled::open_for_reading(path.c_str());
    std::string start(k_looked_at, '\0');
    ssize_t const got =
        file.is_open() ? bundled::read_at(file.get(), start.data(), start.size(), 0) : ssize_t{0};
    start.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    auto const first = start.find_first_not_of(" \t\r\n\xef\xbb\xbf\xff\xfe");
    return first != std::string::npos && start[first] == '<' &&
           (!has_other_name || start.find("<plugin") != std::string::npos);
}

class missing_description {
  public:
    missing_description(fs::path named, findings& list)
        : directory(std::move(named)), found(list) {}

    // Reports what was meant as the description; or that there is none.
    void report() {
        if (!report_inside_plugin() && !report_misnamed() && !report_misplaced() &&
            !report_too_deep()) {
            report_nothing();
        }
    }

  private:
    void add(int rule, fs::path const& place, std::string const& problem,
             std::string const& repair) {
        location const where{place.string()};
        found.push_back({rule, where, problem, repair});
    }

    void report_nothing() {
        auto const names = entries_of(directory);
        bool const is_meant = std::any_of(names.begin(), names.end(), [&](std::string const& name) {
            return name == "darwin" || fs::path(name).extension() == ".so";
        });
        if (is_meant) {
            add(100, directory / k_file, "the plug-in directory has no description",
                "write one, as the guide for authors of plug-ins shows");
        } else {
            add(109, directory, "there is neither a plug-in nor a directory with one in here",
                "name a plug-in directory, or a directory of them; or take this one away");
        }
    }

    bool report_misnamed() {
        std::string const name = misnamed_description(directory.string());
        if (!name.empty()) {
            add(101, directory / name,
                "the description is called " + in_quotes(name) + ", and the library reads only " +
                    in_quotes(k_file),
                "rename " + in_quotes(name) + " to " + in_quotes(k_file));
        }
        return !name.empty();
    }

    // Beside the shared object, for example.
    bool report_misplaced() {
        // NOLINTNEXTLINE(readability-use-anyofallof): it reports, too
        for (char const* place : {"darwin", "darwin/x86"}) {
            if (is_there(directory / place / k_file)) {
                report_misplaced(directory / place / k_file);
                return true;
            }
        }
        return false;
    }

    void report_misplaced(fs::path const& path) {
        add(102, path, "the description is not at the top of the plug-in directory",
            "move it to " + in_quotes((directory / k_file).string()));
    }

    bool report_inside_plugin() {
        std::string const name = name_of(directory.string());
        if (name != "darwin" && name != "x86") {
            return false;
        }
        // NOLINTNEXTLINE(readability-use-anyofallof): it reports, too
        for (auto const& outer : {directory / "..", directory / ".." / ".."}) {
            if (is_there(outer / k_file)) {
                add(103, directory, "this directory is inside a plug-in directory",
                    "name the directory that holds " + in_quotes(k_file));
                return true;
            }
        }
        return false;
    }

    bool report_too_deep() {
        std::vector<fs::path> level = {""};
        for (int depth = 1; depth <= k_most_levels; ++depth) {
            level = directories_in(level);
            auto const found_there =
                std::find_if(level.begin(), level.end(),
                             [&](auto const& each) { return is_there(directory / each / k_file); });
            if (found_there != level.end()) {
                report_below(*found_there, depth);
                return true;
            }
        }
        return false;
    }

    // Of directories in this one, up to a number.
    std::vector<fs::path> directories_in(std::vector<fs::path> const& outer) const {
        std::vector<fs::path> inner;
        for (auto const& each : outer) {
            for (auto const& name : entries_of(directory / each)) {
                std::error_code unknown;
                if (inner.size() < k_most_entries &&
                    fs::is_directory(directory / each / name, unknown)) {
                    inner.push_back(each / name);
                }
            }
        }
        return inner;
    }

    void report_below(fs::path const& below, int depth) {
        auto const place = directory / below / k_file;
        if (is_there(directory / "darwin")) {
            report_misplaced(place);
            return;
        }
        std::string const levels = depth == 1 ? "one level" : std::to_string(depth) + " levels";
        std::string const name = in_quotes(name_of(directory.string()));
        add(103, place,
            "the plug-in is " + levels + " too deep: a host that loads what is around " + name +
                " looks only there for " + in_quotes(k_file),
            "move what is in " + in_quotes(below.string()) + " " + levels +
                " up, or load what is in " + name + " instead");
    }

    fs::path const directory;
    findings& found;
};

}  // namespace

void report_missing_description(std::string const& directory, findings& found) {
    missing_description(directory, found).report();
}

std::string misnamed_description(std::string const& directory) {
    std::string best;
    std::size_t least = k_nowhere;
    for (auto const& name : entries_of(directory)) {
        std::size_t const unlike = unlikeness(name);
        auto const path = fs::path(directory) / name;
        if (unlike < least && is_file(path) &&
            (unlike == 0 || is_description(path, unlike == k_other_xml))) {
            least = unlike;
            best = name;
        }
    }
    return best;
}

std::string name_of(std::string const& directory) {
    std::error_code unknown;
    auto const whole = fs::absolute(directory, unknown).lexically_normal();
    return whole.has_filename() ? whole.filename().string()
                                : whole.parent_path().filename().string();
}

}  // namespace kivplug
