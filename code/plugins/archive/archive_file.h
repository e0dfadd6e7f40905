// An archive's file, opened, and the state that it was in: it shows later whether what was learnt
// about the archive still holds.

#ifndef KIVCORE_ARCHIVE_FILE_H
#define KIVCORE_ARCHIVE_FILE_H

#include <sys/stat.h>

#include <string>

#include "shared/descriptor.h"

namespace kivcore_archive {

struct archive_file {
    bundled::descriptor descriptor;
    struct stat status = {};
    // Whether every later change to the file shows in its status. Right after a change it need
    // not: another one may follow with the same time.
    bool is_settled = false;
};

// Opens a regular file for reading, and nothing that could block. 0, or a negative errno value
// with result as it was.
int open_file(std::string const& path, archive_file& result);

// Whether the status is still that of the unchanged file.
bool is_unchanged(archive_file const& file, struct stat const& now);

}  // namespace kivcore_archive

#endif
