// Loads plug-in directories, and says what is wrong with those that do not load.

#ifndef KIVPLUG_LOADING_H
#define KIVPLUG_LOADING_H

#include <string>

#include <kivcore/load_observer.h>
#include <kivcore/plugins.h>

#include "search_path.h"

namespace kivplug {

// Loads the plug-ins of every directory. One that itself holds a plugin.xml is one plug-in
// directory; any other is a directory of them. Prints what is wrong with each that does not
// load, and goes on; false when there was one.
bool load(kivcore::plugins& registry, search_path const& path);

// The same for one directory, with an observer of its own. origin: who named the directory, for
// the failure that is raised when it is not a directory of plug-ins.
void load_directory(kivcore::plugins& registry, std::string const& directory,
                    std::string const& origin, kivcore::load_observer& observer);

// What kept a directory from loading, and what to do. report: the report_text of what the XML
// library reported about it; empty without one.
std::string load_fault(std::string const& directory, std::string const& reason,
                       std::string const& report);

// "FILE:LINE:COLUMN: MESSAGE"
std::string report_text(std::string const& directory, std::string const& message, int line,
                        int column);

}  // namespace kivplug

#endif
