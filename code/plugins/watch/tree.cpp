#include "tree.h"

#include <sys/inotify.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

#include <morbase/path.h>

namespace watch {

namespace fs = std::filesystem;

namespace {

constexpr unsigned int k_wanted_events = IN_CREATE | IN_DELETE | IN_MODIFY | IN_MOVED_FROM |
                                         IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

// The directory went, or became something else, before it was looked into. The events
// that say so are on their way.
bool is_gone(int error) {
    return error == ENOENT || error == ENOTDIR;
}

// No further directory will fare better.
bool is_exhaustion(int error) {
    return error == ENOSPC || error == ENOMEM;
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
        found.entries.push_back(path);
    }
    if (is_directory) {
        descend({path}, found);  // a failure is among the findings
    }
    return is_new;
}

std::vector<std::string> tree::remove(std::string const& path) {
    std::vector<std::string> gone;
    auto const forget = [&](entry_map::iterator from, entry_map::iterator to) {
        for (auto i = from; i != to; ++i) {
            if (i->second != k_unwatched) {
                // Fails when the directory is deleted: its watch is gone already.
                inotify_rm_watch(inotify.get(), i->second);
                directories.erase(i->second);
            }
            gone.push_back(i->first);
        }
        known.erase(from, to);
    };
    auto const itself = known.find(path);
    if (itself != known.end()) {
        forget(itself, std::next(itself));
    }
    // Everything below begins with "path/", and '0' is the character after '/'.
    forget(known.lower_bound(path + '/'), known.lower_bound(path + '0'));
    std::reverse(gone.begin(), gone.end());
    return gone;
}

void tree::forget_watch(int watch) {
    auto const found = directories.find(watch);
    if (found == directories.end()) {
        return;
    }
    auto const entry = known.find(found->second);
    if (entry != known.end() && entry->second == watch) {
        entry->second = k_unwatched;
    }
    directories.erase(found);
}

std::string const* tree::directory(int watch) const {
    auto const found = directories.find(watch);
    return found != directories.end() ? &found->second : nullptr;
}

void tree::refresh(std::string const& path, findings& found) {
    std::error_code ignored;  // then there is nothing
    auto const status = fs::symlink_status(morbase::path_appended(root_path, path, '/'), ignored);
    if (fs::exists(status)) {
        add(path, fs::is_directory(status), found);
    }
}

// Looks into the directories, and into those that it finds there. An errno value when
// the system can watch no more of them.
int tree::descend(std::vector<std::string> unread, findings& found) {
    while (!unread.empty()) {
        std::string const path = std::move(unread.back());
        unread.pop_back();
        int const error = look_into(path, found, unread);
        if (error != 0 && !is_gone(error)) {
            found.problems.push_back({path, error});
        }
        if (is_exhaustion(error)) {
            return error;
        }
    }
    return 0;
}

// Watches a directory and notes what is in it. The watch comes first: what is made
// after it is announced, what was there before is found. An errno value for a failure.
int tree::look_into(std::string const& path, findings& found, std::vector<std::string>& unread) {
    // The root is followed, should it have become a link: it is what the host named.
    int const error = watch_directory(path, path.empty() ? 0 : IN_DONT_FOLLOW);
    if (error != 0) {
        return error;
    }
    std::error_code failure;
    fs::directory_iterator entry(morbase::path_appended(root_path, path, '/'), failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        std::string const name = joined(path, entry->path().filename().string());
        if (!known.emplace(name, k_unwatched).second) {
            continue;
        }
        found.entries.push_back(name);
        std::error_code ignored;  // what cannot be told apart is no directory
        if (!entry->is_symlink(ignored) && entry->is_directory(ignored)) {
            unread.push_back(name);
        }
    }
    return failure.value();
}

// One watch stands for one directory whatever path leads to it: where a directory was moved,
// the system gives the same number again, and the newer path holds.
int tree::watch_directory(std::string const& path, unsigned int flags) {
    std::string const full = morbase::path_appended(root_path, path, '/');
    int const watch = inotify_add_watch(inotify.get(), full.c_str(), k_wanted_events | flags);
    if (watch < 0) {
        return errno;
    }
    directories[watch] = path;
    auto const entry = known.find(path);
    if (entry != known.end()) {
        entry->second = watch;
    }
    return 0;
}

}  // namespace watch
