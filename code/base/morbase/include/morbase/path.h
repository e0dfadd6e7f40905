// Paths as texts: nothing is looked up and nothing is resolved. Any thread may call these.

#ifndef MORBASE_PATH_H
#define MORBASE_PATH_H

#include <string>

#include <morbase/export.h>

namespace morbase {

// directory and name with exactly one separator between the two, however many
// either brings along. An empty directory gives the name alone; one of separators only is
// the root and stays it. Raises nothing but std::bad_alloc.
MORBASE_API std::string path_appended(std::string const& directory, std::string const& name,
                                      char separator);

}  // namespace morbase

#endif
