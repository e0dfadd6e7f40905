#include "description_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include <morbase/path.h>

#include "descriptor.h"
#include "kivcore/src/description.h"
#include "markup_text.h"
#include "missing_description.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

constexpr char const* k_file = "plugin.xml";

bool is_there(fs::path const& path) {
    std::error_code unknown;
    return fs::exists(path, unknown);
}

bool is_link(fs::path const& path) {
    std::error_code unknown;
    return fs::is_symlink(fs::symlink_status(path, unknown));
}

char const* kind_text(mode_t mode) {
    return S_ISDIR(mode)    ? "a directory"
           : S_ISFIFO(mode) ? "a FIFO"
           : S_ISSOCK(mode) ? "a socket"
                            : "a device";
}

// What the library cannot open; empty for a regular file that it can.
std::string refusal(std::string const& path, descriptor const& file) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 && is_link(path)) {
        return "is a link that leads to nothing";
    }
    if (status.st_mode != 0 && !S_ISREG(status.st_mode)) {
        return std::string("is ") + kind_text(status.st_mode) + ", not a file";
    }
    return file.is_open() ? "" : "cannot be opened: " + error_text(-file.get());
}

// As much as the library reads, and one byte more.
std::string content_of(descriptor const& file) {
    std::string text(kivcore::k_most_bytes + 1, '\0');
    std::size_t have = 0;
    for (ssize_t got = 1; got > 0 && have < text.size();) {
        got = bundled::read_at(file.get(), text.data() + have, text.size() - have,
                               static_cast<long long>(have));
        have += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    text.resize(have);
    return text;
}

bool is_plugin_directory(std::string const& directory, findings& found) {
    std::error_code unknown;
    if (fs::is_directory(directory, unknown)) {
        return true;
    }
    char const* const problem = !is_link(directory)   ? "this is a file, not a plug-in directory"
                                : is_there(directory) ? "this is a link to a file, not to a "
                                                        "plug-in directory"
                                                      : "this is a link to nothing";
    found.push_back({108, {directory}, problem, "put a directory with a description here"});
    return false;
}

void check_hidden(std::string const& directory, findings& found) {
    if (name_of(directory)[0] == '.') {
        found.push_back({107,
                         {directory},
                         "a host that loads the directory around this one skips hidden "
                         "directories",
                         "rename it: its name must not start with a dot"});
    }
}

}  // namespace

std::optional<std::string> description_file(std::string const& directory, findings& found) {
    if (!is_plugin_directory(directory, found)) {
        return std::nullopt;
    }
    std::string const path = morbase::path_appended(directory, k_file, '/');
    if (!is_there(path) && !is_link(path)) {
        report_missing_description(directory, found);
        return std::nullopt;
    }
    check_hidden(directory, found);
    auto const file = bundled::open_for_reading(path.c_str());
    if (std::string const problem = refusal(path, file); !problem.empty()) {
        found.push_back({104,
                         {path},
                         "the description " + problem,
                         "put a file there that everybody may read"});
        return std::nullopt;
    }
    std::string text = content_of(file);
    if (is_blank(text)) {
        found.push_back({105, {path}, "the description is empty", "describe the plug-in in it"});
        return std::nullopt;
    }
    if (text.size() > kivcore::k_most_bytes) {
        found.push_back({106,
                         {path},
                         "the description is larger than 16 MiB, the most that the library reads",
                         "shorten it"});
        return std::nullopt;
    }
    return text;
}

}  // namespace kivplug
