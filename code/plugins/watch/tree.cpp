#include "tree.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <iterator>
#include <utility>

#include "shared/directory.h"

namespace watch {

namespace {

constexpr unsigned int k_wanted_events = IN_CREATE | IN_DELETE | IN_MODIFY | IN_MOVED_FROM |
                                         IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

// The directory was removed or replaced before it was listed. The events for that will follow.
bool is_gone(int error) {
    return error == ENOENT || error == ENOTDIR;
}

// Every other directory would fail as well.
bool is_exhaustion(int error) {
    return error == ENOSPC || error == ENOMEM;
}

// Whether the entry is the directory itself or its parent.
bool is_own_name(dirent const& entry) {
    return std::strcmp(entry.d_name, ".") == 0 || std::strcmp(entry.d_name, "..") == 0;
}

// A link to a directory does not count as one, nor does an entry of unknown type.
bool is_directory(int parent, dirent const& entry) {
    struct stat status = {};
    return entry.d_type == DT_DIR ||
           (entry.d_type == DT_UNKNOWN &&
            fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISDIR(status.st_mode));
}

// Needs no permission on the directory itself.
bundled::descriptor opened_directory(int parent, std::string const& path, int flags) {
    return bundled::descriptor(open_descriptor(parent, path.c_str(), O_PATH | O_DIRECTORY | flags));
}

}  // namespace

std::string joined(std::string const& directory, std::string const& name) {
    return directory.empty() ? name : directory + '/' + name;
}

int tree::open(findings& found) {
    inotify = bundled::descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (inotify.get() < 0) {
        return -errno;
    }
    std::vector<std::string> unread;
    int const error = look_into("", found, unread);
    return error != 0 ? -error : -descend(std::move(unread), found);
}

void tree::close() {
    inotify = bundled::descriptor();
    directories.clear();
}

bool tree::add(std::string const& path, bool is_directory, findings& found) {
    bool const is_new = known.emplace(path, k_unwatched).second;
    if (is_new) {
        found.changes.push_back({path, true});
    }
    if (is_directory) {
        descend({path}, found);  // found contains any failure
    }
    return is_new;
}

void tree::refresh(std::string const& path, findings& found) {
    std::size_t const slash = path.rfind('/');
    bool const is_top = slash == std::string::npos;
    auto const parent = directory_at(is_top ? "" : path.substr(0, slash));
    std::string const name = is_top ? path : path.substr(slash + 1);
    struct stat status = {};
    if (parent.is_open() &&
        fstatat(parent.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        add(path, S_ISDIR(status.st_mode), found);
    }
}

void tree::remove(std::string const& path, findings& found) {
    remove_below(path, found);
    auto const itself = known.find(path);
    if (itself != known.end()) {
        remove_range(itself, std::next(itself), found);
    }
}

// Everything below begins with "path/", and '0' is the character after '/'.
void tree::remove_below(std::string const& path, findings& found) {
    remove_range(known.lower_bound(path + '/'), known.lower_bound(path + '0'), found);
}

void tree::remove_range(entry_map::iterator from, entry_map::iterator to, findings& found) {
    for (auto i = to; i != from;) {
        --i;
        unwatch(i->first, i->second);
        found.changes.push_back({i->first, false});
    }
    known.erase(from, to);
}

// The watch ends with the last path that it serves.
void tree::unwatch(std::string const& path, int watch) {
    auto const [from, to] = directories.equal_range(watch);
    auto const own =
        std::find_if(from, to, [&](auto const& entry) { return entry.second == path; });
    if (own == to) {
        return;
    }
    directories.erase(own);
    if (directories.count(watch) == 0) {
        // Fails if the directory was deleted, because that removed the watch.
        inotify_rm_watch(inotify.get(), watch);
    }
}

void tree::forget_watch(int watch) {
    for (std::string const& path : paths(watch)) {
        known[path] = k_unwatched;
    }
    directories.erase(watch);
}

std::vector<std::string> tree::paths(int watch) const {
    std::vector<std::string> all;
    auto const [from, to] = directories.equal_range(watch);
    std::transform(from, to, std::back_inserter(all),
                   [](auto const& entry) { return entry.second; });
    return all;
}

// Watches and lists the directories, and recursively those in them. Returns an errno value if the
// system cannot watch any more.
int tree::descend(std::vector<std::string> unread, findings& found) {
    int error = 0;
    while (!unread.empty()) {
        std::string const path = std::move(unread.back());
        unread.pop_back();
        error = is_exhaustion(error) ? error : look_into(path, found, unread);
        if (error != 0 && !is_gone(error)) {
            found.problems.push_back({path, error});
        }
    }
    return is_exhaustion(error) ? error : 0;
}

// Watches a directory and adds its entries. The watch comes first: later entries are announced by
// events, earlier ones are found. Returns an errno value on failure.
int tree::look_into(std::string const& path, findings& found, std::vector<std::string>& unread) {
    auto const opened = directory_at(path);
    if (!opened.is_open()) {
        return -opened.get();
    }
    // With this name, the watch and the listing use the same directory, even if it is moved.
    std::string const here = "/proc/thread-self/fd/" + std::to_string(opened.get());
    int const error = watch_directory(path, here, found);
    if (error != 0) {
        return error;
    }
    bundled::directory_handle const listed(opendir(here.c_str()));
    if (!listed) {
        return errno;
    }
    return bundled::visit_entries(listed, [&](dirent const& entry) {
        std::string const name = joined(path, entry.d_name);
        if (is_own_name(entry) || !known.emplace(name, k_unwatched).second) {
            return;
        }
        found.changes.push_back({name, true});
        if (is_directory(opened.get(), entry)) {
            unread.push_back(name);
        }
    });
}

// If another directory has replaced the one that was watched under this path, removes everything
// that was known below it.
int tree::watch_directory(std::string const& path, std::string const& opened, findings& found) {
    int const watch = inotify_add_watch(inotify.get(), opened.c_str(), k_wanted_events);
    if (watch < 0) {
        // The directory is open, so only a missing /proc can be the reason.
        return errno == ENOENT ? ENOSYS : errno;
    }
    auto const entry = known.find(path);
    int const before = entry != known.end() ? entry->second : k_unwatched;
    if (watch == before) {
        return 0;
    }
    directories.emplace(watch, path);  // first, because an entry below may share this watch
    if (entry != known.end()) {
        remove_below(path, found);
        unwatch(path, before);
        entry->second = watch;
    }
    return 0;
}

// Opens the directory at path; on failure the result holds a negative errno value. If the root
// has become a link, it is followed, because the host named it. Links below the root are not
// followed, because they may lead out of the tree.
bundled::descriptor tree::directory_at(std::string const& path) const {
    if (root_path.size() + 1 + path.size() >= PATH_MAX) {
        return bundled::descriptor(-ENAMETOOLONG);  // a host could not open its entries
    }
    auto at = opened_directory(AT_FDCWD, root_path, 0);
    for (std::size_t begin = 0; at.is_open() && begin < path.size();) {
        std::size_t const end = std::min(path.find('/', begin), path.size());
        at = opened_directory(at.get(), path.substr(begin, end - begin), O_NOFOLLOW);
        begin = end + 1;
    }
    return at;
}

}  // namespace watch
