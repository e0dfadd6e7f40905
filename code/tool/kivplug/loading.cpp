#include "loading.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <morbase/path.h>

#include "descriptor.h"
#include "failure.h"
#include "notices.h"
#include "shared/directory.h"
#include "text.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

constexpr char const* k_description = "plugin.xml";

std::string in(std::string const& directory, std::string const& name) {
    return morbase::path_appended(directory, name, '/');
}

// The names in a directory, as the file system lists them. origin: who named the directory,
// for the failure that is raised when it cannot be listed; empty for one that was found.
std::vector<std::string> entries_of(std::string const& directory, std::string const& origin) {
    bundled::directory_handle const opened(opendir(directory.c_str()));
    std::vector<std::string> names;
    auto const add = [&](dirent const& entry) { names.emplace_back(entry.d_name); };
    int const error = opened ? bundled::visit_entries(opened, add) : errno;
    if (error != 0) {
        throw failure("cannot open the directory " + quoted(directory) +
                      (origin.empty() ? "" : ", " + origin) + ": " + error_text(error) +
                      (origin.empty() ? "; make it readable, or take it away"
                                      : "; name a readable directory of plug-ins with -d"));
    }
    return names;
}

// A link is an entry, even one that leads nowhere.
bool has_entry(std::string const& directory, std::string const& name) {
    std::error_code unknown;
    return fs::exists(fs::symlink_status(in(directory, name), unknown));
}

[[noreturn]] void fail_for_search(std::string const& directory) {
    throw failure("cannot search the directory " + quoted(directory) + ": " + error_text(EACCES) +
                  "; make it searchable, or take it away");
}

bool may_be_plugin(std::string const& directory, std::string const& name) {
    if (name.front() == '.') {
        return false;
    }
    std::error_code error;
    auto const status = fs::symlink_status(in(directory, name), error);
    if (error == std::errc::permission_denied) {
        fail_for_search(directory);
    }
    return fs::is_directory(status) || fs::is_symlink(status);
}

// Of what may be a plug-in, only a link can turn out to be something else.
void require_directory(std::string const& path) {
    std::error_code unknown;
    auto const status = fs::status(path, unknown);
    if (fs::exists(status) && !fs::is_directory(status)) {
        throw failure(quoted(path) +
                      " is a link to a file, not to a plug-in directory: "
                      "remove it or move it away");
    }
    if (status.type() == fs::file_type::not_found) {
        throw failure(quoted(path) + " is a link to " +
                      quoted(fs::read_symlink(path, unknown).string()) +
                      ", which is not there: repair or remove it");
    }
}

// The entry whose name differs from plugin.xml only in case; empty when there is none.
std::string misspelt_description(std::vector<std::string> const& names) {
    auto const found = std::find_if(names.begin(), names.end(), [](std::string const& name) {
        return strcasecmp(name.c_str(), k_description) == 0 && name != k_description;
    });
    return found != names.end() ? *found : "";
}

[[noreturn]] void fail_for_spelling(std::string const& directory, std::string const& name) {
    throw failure(quoted(directory) + " has " + quoted(name) +
                  " in the place of plugin.xml; rename it");
}

[[noreturn]] void fail_for_missing_description(std::string const& directory) {
    auto const names = entries_of(directory, "");
    auto const misspelt = misspelt_description(names);
    if (!misspelt.empty()) {
        fail_for_spelling(directory, misspelt);
    }
    bool const holds_plugins = std::any_of(names.begin(), names.end(), [&](auto const& name) {
        return name.front() != '.' && has_entry(in(directory, name), k_description);
    });
    throw failure(quoted(directory) +
                  (holds_plugins
                       ? " has no plugin.xml, but directories in it have one; name it with -d"
                       : " has no plugin.xml; put the description there, or take the directory "
                         "away"));
}

// Why the file cannot be read, as an errno value; 0 when it can. A FIFO is not opened: that could
// block.
int reading_error(std::string const& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        throw failure(quoted(path) + " is not a regular file; put the description there");
    }
    if (status.st_size == 0) {
        throw failure(quoted(path) + " is empty; put the description there");
    }
    descriptor const opened(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return opened.is_open() ? 0 : errno;
}

// When a description cannot be opened, the library does not say why.
void require_description(std::string const& directory) {
    auto const path = in(directory, k_description);
    int const error = reading_error(path);
    if (error == ENOENT && !has_entry(directory, k_description)) {
        fail_for_missing_description(directory);
    }
    // The entry can be seen when it is a link into a directory that cannot be searched.
    if (error == EACCES && !has_entry(directory, k_description)) {
        fail_for_search(directory);
    }
    if (error != 0) {
        throw failure(
            "cannot read " + quoted(path) +
            (error == ENOENT ? ", a link to a file that is not there" : ": " + error_text(error)) +
            "; put a readable description there");
    }
}

void load_plugin(kivcore::plugins& registry, std::string const& directory) {
    require_description(directory);
    notices printed;
    bool const is_loaded = registry.load_plugin(directory);
    auto const text = printed.end();
    print_lines(text);
    if (is_loaded) {
        return;
    }
    // These do not say what is wrong. The file was there and could be read.
    bool const is_unexplained = text.empty() || text.find(": unknown reason\n") < text.size() ||
                                text.find(": Could not create xml reader ") < text.size();
    throw failure(quoted(directory) + " did not load whole; " +
                  (is_unexplained ? "memory may have run out, try again with more"
                                  : "fix its plugin.xml, the message above says what is wrong"));
}

// The plug-in directory that this is a part of; empty when there is none.
std::string enclosing_plugin(std::string const& directory) {
    std::pair<char const*, char const*> const ways[] = {{"..", "darwin"}, {"../..", "darwin/x86"}};
    for (auto const& [up, down] : ways) {
        auto const top = in(directory, up);
        std::error_code unknown;  // what is not there is not the same
        if (fs::equivalent(in(top, down), directory, unknown) && has_entry(top, k_description)) {
            return fs::path(top).lexically_normal().string();
        }
    }
    return "";
}

// What is one level too deep, or a plug-in directory without its description, would pass
// for a directory of plug-ins.
void require_collection(std::string const& directory, std::vector<std::string> const& names) {
    auto const misspelt = misspelt_description(names);
    if (!misspelt.empty()) {
        fail_for_spelling(directory, misspelt);
    }
    if (has_entry(directory, "darwin/x86/plugin.so")) {
        fail_for_missing_description(directory);
    }
    auto const enclosing = enclosing_plugin(directory);
    if (!enclosing.empty()) {
        throw failure(quoted(directory) + " is a part of the plug-in directory " +
                      quoted(enclosing) + "; name that one with -d");
    }
}

// Returns what the call returns; false when it raised a failure, which is then printed.
template <typename call_type>
bool succeeds(call_type const& call) {
    try {
        return call();
    } catch (failure const& error) {
        say(error.what());
        return false;
    }
}

// As load_plugins, but one by one: the library's line on a failure need not name the
// directory.
bool load_each(kivcore::plugins& registry, std::string const& directory,
               std::vector<std::string> const& names) {
    bool are_loaded = true;
    for (auto const& name : names) {
        if (may_be_plugin(directory, name)) {
            bool const is_loaded = succeeds([&] {
                auto const path = in(directory, name);
                require_directory(path);
                load_plugin(registry, path);
                return true;
            });
            are_loaded = are_loaded && is_loaded;
        }
    }
    return are_loaded;
}

bool load_directory(kivcore::plugins& registry, std::string const& directory,
                    std::string const& origin) {
    return succeeds([&] {
        auto const names = entries_of(directory, origin);
        if (std::find(names.begin(), names.end(), k_description) != names.end()) {
            load_plugin(registry, directory);
            return true;
        }
        require_collection(directory, names);
        return load_each(registry, directory, names);
    });
}

}  // namespace

bool load(kivcore::plugins& registry, search_path const& path) {
    bool are_loaded = true;
    for (auto const& directory : path.directories) {
        are_loaded = load_directory(registry, directory, path.origin) && are_loaded;
    }
    return are_loaded;
}

}  // namespace kivplug
