// The entries of a directory. std::filesystem does not work here: its iterator terminates the
// process if memory runs out.

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

// Calls visit with every entry of an open directory, including "." and "..", in the file system's
// order. Returns 0, or an errno value if reading the directory fails.
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
