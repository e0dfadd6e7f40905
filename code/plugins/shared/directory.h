// The entries of a directory. std::filesystem is of no use here: its iterator ends the process
// when memory runs out.

#ifndef BUNDLED_DIRECTORY_H
#define BUNDLED_DIRECTORY_H

#include <dirent.h>

#include <cerrno>
#include <memory>

namespace bundled {

struct close_directory {
    void operator()(DIR* opened) const { closedir(opened); }
};
using directory_handle = std::unique_ptr<DIR, close_directory>;

// Shows every entry of an open directory to visit, "." and ".." among them, in the file system's
// order. 0, or an errno value when the directory cannot be read on.
template <typename visitor>
int visit_entries(directory_handle const& opened, visitor const& visit) {
    for (;;) {
        errno = 0;  // only this distinguishes the end from a failure
        dirent const* const entry = readdir(opened.get());
        if (entry == nullptr) {
            return errno;
        }
        visit(*entry);
    }
}

}  // namespace bundled

#endif
