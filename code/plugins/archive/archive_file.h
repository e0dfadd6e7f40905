// An open archive file, and its status at that time. The status shows later whether the file has
// changed.

#ifndef ARCHIVE_FILE_H
#define ARCHIVE_FILE_H

#include <sys/stat.h>

#include <string>

#include "shared/descriptor.h"

namespace archives {

struct archive_file {
    bundled::descriptor descriptor;
    struct stat status = {};
    // Whether every later change to the file shows in its status. This is false if the file has
    // just been changed, because another change could have the same time.
    bool is_settled = false;
};

// Opens a regular file for reading; refuses anything that could block. Returns 0, or a negative
// errno value with result unchanged.
int open_file(std::string const& path, archive_file& result);

// Whether a file with this status is the same and unchanged.
bool is_unchanged(archive_file const& file, struct stat const& now);

}  // namespace archives

#endif
