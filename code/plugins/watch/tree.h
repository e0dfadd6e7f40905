// A directory and everything below it, as one inotify descriptor sees it: which watch serves
// which directories, and which entries are known. An entry is named by its path relative to the
// root; the root is "". Symbolic links are ordinary entries and are not followed.
//
// The known entries make reports exact. Entries that are created after a directory appears and
// before it is watched can only be found by listing it. Entries that are created between the
// watch and the listing are both found and announced by an event.
//
// A listing is ahead of the events that are not read yet. A directory that was moved may be found
// at its new path while it is still known at the old one, and the system has one watch for both.
// So a watch serves every path at which its directory was found, and each path is removed by its
// own event. The same holds for a directory that is mounted a second time.

#ifndef WATCH_TREE_H
#define WATCH_TREE_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "shared/descriptor.h"

namespace watch {

class tree {
  public:
    struct problem {
        std::string path;
        int error;
    };

    struct change {
        std::string path;
        bool is_new;  // otherwise it is gone
    };

    // What an operation found. changes: changes of the known entries, in order; a directory is
    // new before its content and gone after it. problems: directories that cannot be watched or
    // listed; their content stays unknown.
    struct findings {
        std::vector<change> changes;
        std::vector<problem> problems;
    };

    // An entry, and the watch on it if it is a watched directory.
    static constexpr int k_unwatched = -1;
    using entry_map = std::map<std::string, int>;

    explicit tree(std::string root) : root_path(std::move(root)) {}

    // Watches the root and everything below it. Returns a negative errno value if the root cannot
    // be watched or the system has no more watches; then the tree is useless. Call it once for
    // each tree.
    int open(findings& found);

    // Ends all watches. The entries stay known.
    void close();

    // Adds path to the known entries. If it is a directory, watches it and adds everything below
    // it, even if it was known: it may now be another directory. Returns whether path was new.
    bool add(std::string const& path, bool is_directory, findings& found);

    // Adds path if it exists now.
    void refresh(std::string const& path, findings& found);

    // Forgets path and what is below it.
    void remove(std::string const& path, findings& found);

    // Call this when the system has removed the watch.
    void forget_watch(int watch);

    // The directories that the watch serves; empty for a watch that has ended.
    std::vector<std::string> paths(int watch) const;

    bool knows(std::string const& path) const { return known.count(path) != 0; }
    entry_map const& entries() const { return known; }
    int events() const { return inotify.get(); }

  private:
    int watch_directory(std::string const& path, std::string const& opened, findings& found);
    void unwatch(std::string const& path, int watch);
    void remove_below(std::string const& path, findings& found);
    void remove_range(entry_map::iterator from, entry_map::iterator to, findings& found);
    int look_into(std::string const& path, findings& found, std::vector<std::string>& unread);
    int descend(std::vector<std::string> unread, findings& found);
    bundled::descriptor directory_at(std::string const& path) const;

    std::string root_path;
    bundled::descriptor inotify;
    std::multimap<int, std::string> directories;
    entry_map known;  // without the root
};

// The path of the entry name in a directory of the tree.
std::string joined(std::string const& directory, std::string const& name);

}  // namespace watch

#endif
