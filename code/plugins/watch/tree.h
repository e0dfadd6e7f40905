// A directory and everything below it as one inotify descriptor sees it: which watch serves which
// directories, and which entries are known. An entry is named by its path below the root, which
// itself is "". Symbolic links are entries like any other and are not followed.
//
// The known entries are what makes reports exact: between the moment when a directory appears and
// the moment when it is watched, entries can only be found by listing it, and those made in between
// are both found and announced.
//
// Looking is ahead of the events that wait to be read. A directory that was moved may be found at
// its new path while it is still known at the old one, and the system has one watch for both. So a
// watch serves every path that led to it, and each path ends with the event that says so. The same
// holds for a directory that is mounted a second time.

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
        bool is_new;  // or gone
    };

    // What an operation came across: changes of what is known, in order, where a directory
    // is new before what is in it and gone after that; directories that cannot be watched
    // or listed, whose content stays unknown.
    struct findings {
        std::vector<change> changes;
        std::vector<problem> problems;
    };

    // An entry, and the watch on it if it is a watched directory.
    static constexpr int k_unwatched = -1;
    using entry_map = std::map<std::string, int>;

    explicit tree(std::string root) : root_path(std::move(root)) {}

    // Watches the root and what is below it. Negative errno values when the root
    // cannot be watched and when the system has no more watches; the tree is then of
    // no use. Once for each tree.
    int open(findings& found);

    // Ends all watches. The entries stay known.
    void close();

    // Makes path known and, if it is a directory, what is below it, with watches; the
    // latter also when it was known, for it may be another directory by now. Whether
    // path was new.
    bool add(std::string const& path, bool is_directory, findings& found);

    // Adds whatever is at path now, if anything is.
    void refresh(std::string const& path, findings& found);

    // Forgets path and what is below it.
    void remove(std::string const& path, findings& found);

    // The watch has ended on the system's side.
    void forget_watch(int watch);

    // The directories that the watch serves; none for a watch that has ended.
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
