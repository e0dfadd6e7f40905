// The verb that lists what a browser finds below a path.

#ifndef KIVPLUG_BROWSE_H
#define KIVPLUG_BROWSE_H

#include <string>

#include "descriptor.h"
#include "host.h"

namespace kivplug {

struct browse_options {
    std::string id;
    std::string path;  // empty for the browser's own root
    bool in_full = false;
    bool recursive = false;
    bool json = false;
};

// One line for each directory, which ends in a slash, and each file: its name, below the path that
// was given; in full also what to pass on to browse or read it, and what is known about it.
void browse(host const& from, byte_sink& out, browse_options const& options);

}  // namespace kivplug

#endif
