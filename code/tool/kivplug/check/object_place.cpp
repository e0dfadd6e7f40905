#include "object_place.h"

#include <strings.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <vector>

#include <morbase/path.h>

#include "descriptor.h"
#include "linker_tokens.h"
#include "shared/directory.h"
#include "wording.h"

namespace kivplug {

namespace {

namespace fs = std::filesystem;

constexpr char const* k_place = "darwin/x86/plugin.so";
constexpr std::size_t k_most_entries = 2000;
constexpr int k_most_levels = 8;

bool is_named_like_object(std::string const& name) {
    auto const ends_in = [&](std::string const& end) {
        return name.size() > end.size() &&
               strcasecmp(&name[name.size() - end.size()], end.c_str()) == 0;
    };
    return ends_in(".so") || ends_in(".dylib") || ends_in(".dll") || ends_in(".bundle") ||
           name.find(".so.") != std::string::npos || name == "plugin";
}

// Looks for files that may be meant as the shared object.
class object_search {
  public:
    explicit object_search(std::string const& directory) : pending{{directory, 1}} {
        for (std::size_t i = 0; i < pending.size(); ++i) {
            look_in(i);
        }
    }

    // The likeliest: of the right name, or else the first.
    std::string best() const {
        auto const is_right = [](std::string const& each) {
            return strcasecmp(each.substr(each.rfind('/') + 1).c_str(), "plugin.so") == 0;
        };
        auto const right = std::find_if(found.begin(), found.end(), is_right);
        if (right != found.end()) {
            return *right;
        }
        return found.empty() ? "" : found.front();
    }

  private:
    struct place {
        std::string path;
        int level;
    };

    void look_in(std::size_t index) {
        place const at = pending[index];  // a copy: the list grows
        for (auto const& name : names_in(at.path)) {
            auto const path = morbase::path_appended(at.path, name, '/');
            std::error_code unknown;
            // Links to directories are not followed: they may lead back.
            bool const is_directory = fs::is_directory(fs::symlink_status(path, unknown));
            if (is_directory && at.level < k_most_levels) {
                pending.push_back({path, at.level + 1});
            } else if (!is_directory && is_named_like_object(name)) {
                found.push_back(path);
            }
        }
    }

    std::vector<std::string> names_in(std::string const& directory) {
        bundled::directory_handle const opened(opendir(directory.c_str()));
        std::vector<std::string> names;
        if (opened) {
            bundled::visit_entries(opened, [&](dirent const& entry) {
                if (++looked_at <= k_most_entries && entry.d_name[0] != '.') {
                    names.emplace_back(entry.d_name);
                }
            });
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    std::vector<place> pending;
    std::vector<std::string> found;
    std::size_t looked_at = 0;
};

void report_missing(std::string const& directory, findings& found) {
    auto const wanted = object_path(directory);
    auto const other = object_search(directory).best();
    if (other.empty()) {
        found.push_back({300,
                         {wanted},
                         "the shared object is missing",
                         "build it, and put it at " + in_quotes(wanted)});
        return;
    }
    found.push_back({301,
                     {other},
                     "the library looks for the shared object at " + in_quotes(wanted) +
                         " only, and not at " + in_quotes(other),
                     "move " + in_quotes(other) + " to " + in_quotes(wanted)});
}

void report_unreadable(std::string const& path, std::string const& reason, findings& found) {
    found.push_back({304,
                     {path},
                     in_quotes(path) + " cannot be read: " + reason,
                     "make it readable for everyone who runs a host, with chmod a+rX"});
}

// Root may read everything; a host will hardly run as root.
bool may_nobody_read(struct stat const& status) {
    unsigned int const wanted = S_ISDIR(status.st_mode) ? 0111 : 0444;
    return (status.st_mode & wanted) == 0;
}

// Whether the way leads on at this part of it; reports why not.
bool check_part(std::string const& directory, std::string const& path, bool is_last,
                findings& found) {
    struct stat entry {};
    if (lstat(path.c_str(), &entry) != 0) {
        errno == ENOENT ? report_missing(directory, found)
                        : report_unreadable(path, error_text(errno), found);
        return false;
    }
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        if (errno == EACCES) {
            report_unreadable(path, error_text(errno), found);
            return false;
        }
        bool const is_loop = errno == ELOOP;
        std::error_code unknown;
        found.push_back({302,
                         {path},
                         in_quotes(path) + " is a link to " +
                             in_quotes(fs::read_symlink(path, unknown).string()) +
                             (is_loop ? ", which leads back to it" : ", which is not there"),
                         "let the link lead to the file, or put the file itself there"});
        return false;
    }
    bool const is_right = is_last ? S_ISREG(status.st_mode) : S_ISDIR(status.st_mode);
    if (!is_right) {
        found.push_back(
            {303,
             {path},
             in_quotes(path) + (is_last ? " is not a regular file" : " is not a directory"),
             "put the shared object at " + in_quotes(object_path(directory))});
        return false;
    }
    if (may_nobody_read(status)) {
        report_unreadable(path, error_text(EACCES), found);
        return false;
    }
    return true;
}

void check_mount(std::string const& path, findings& found) {
    struct statvfs system {};
    if (statvfs(path.c_str(), &system) == 0 && (system.f_flag & ST_NOEXEC) != 0) {
        found.push_back({312,
                         {path},
                         "the file system of " + in_quotes(path) +
                             " is mounted with noexec, so no code in it can be run",
                         "put the plug-in on another file system, or mount this one without "
                         "noexec"});
    }
}

}  // namespace

std::string object_path(std::string const& directory) {
    return directory + "/" + k_place;
}

bool check_object_place(std::string const& directory, findings& found) {
    auto const path = object_path(directory);
    auto const token = token_in(path);
    if (!token.empty()) {
        found.push_back({311,
                         {path},
                         "the dynamic linker would replace " + in_quotes(token) +
                             " in the path of the shared object, so the library does not open it",
                         "rename the directory to a name without " + in_quotes(token)});
    }
    bool const is_there = check_part(directory, directory + "/darwin", false, found) &&
                          check_part(directory, directory + "/darwin/x86", false, found) &&
                          check_part(directory, path, true, found);
    if (!is_there) {
        return false;
    }
    if (access(path.c_str(), R_OK) != 0) {
        report_unreadable(path, error_text(errno), found);
        return false;
    }
    check_mount(path, found);
    return true;
}

}  // namespace kivplug
