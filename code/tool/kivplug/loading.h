// Loads plug-in directories, and says what is wrong with those that do not load.

#ifndef KIVPLUG_LOADING_H
#define KIVPLUG_LOADING_H

#include <kivcore/plugins.h>

#include "search_path.h"

namespace kivplug {

// Loads the plug-ins of every directory. One that itself holds a plugin.xml is one plug-in
// directory; any other is a directory of them. Prints what is wrong with each that does not
// load, and goes on; false when there was one.
bool load(kivcore::plugins& registry, search_path const& path);

}  // namespace kivplug

#endif
