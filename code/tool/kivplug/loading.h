// Where plug-ins come from: the directories that a run is given, and what is wrong with
// those that do not load.

#ifndef KIVPLUG_LOADING_H
#define KIVPLUG_LOADING_H

#include <string>
#include <vector>

#include <kivcore/plugins.h>

namespace kivplug {

struct search_path {
    std::vector<std::string> directories;
    std::string origin;  // who named them, for messages
};

// The directories given, without any those of KIVPLUG_PATH, and without those the one that
// belongs to this program. There is at least one.
search_path chosen_path(std::vector<std::string> const& directories);

// Loads the plug-ins of every directory. One that itself holds a plugin.xml is one plug-in
// directory; any other is a directory of them. Prints what is wrong with each that does not
// load, and goes on; false when there was one.
bool load(kivcore::plugins& registry, search_path const& path);

}  // namespace kivplug

#endif
