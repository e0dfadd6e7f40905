// The plug-in directories that are to be checked.

#ifndef KIVPLUG_CHECK_PLUGIN_DIRECTORIES_H
#define KIVPLUG_CHECK_PLUGIN_DIRECTORIES_H

#include <string>
#include <vector>

namespace kivplug {

// The directory itself if anything in it says that it is meant as a plug-in directory: a
// description, also under a wrong name, or a shared object; or if nothing else is in it, or it is
// a file. Otherwise the directories in it, by name, and hidden plug-in directories. Raises a
// failure when the directory cannot be listed.
std::vector<std::string> plugin_directories(std::string const& directory);

}  // namespace kivplug

#endif
