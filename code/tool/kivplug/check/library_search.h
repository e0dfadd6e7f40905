// How the dynamic linker finds a library that an object needs. It looks, in this order, where the
// run paths of the object say, in LD_LIBRARY_PATH, in its cache and in its own directories.

#ifndef KIVPLUG_CHECK_LIBRARY_SEARCH_H
#define KIVPLUG_CHECK_LIBRARY_SEARCH_H

#include <string>
#include <vector>

#include "elf_object.h"

namespace kivplug {

struct searched_library {
    std::string path;                // empty when there is none
    std::vector<std::string> tried;  // directories besides the system's own
    std::string unusable;            // why the first file of this name cannot be taken, if any
};

// loaders: the object that needs it, and then the objects through which that is needed.
searched_library find_library(std::string const& name,
                              std::vector<elf_object const*> const& loaders);

}  // namespace kivplug

#endif
