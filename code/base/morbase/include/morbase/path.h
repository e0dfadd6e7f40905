// Paths as texts, without access to the file system. Any thread may call this.

#ifndef MORBASE_PATH_H
#define MORBASE_PATH_H

#include <string>

#include <morbase/export.h>

namespace morbase {

// Joins directory and name with exactly one separator, however many there are at the end of
// directory and at the start of name. If directory is empty, returns name unchanged. A directory
// of separators only is the root and stays the root. Raises only std::bad_alloc.
MORBASE_API std::string path_appended(std::string const& directory, std::string const& name,
                                      char separator);

}  // namespace morbase

#endif
