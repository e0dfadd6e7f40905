// The directories that plug-ins are loaded from, and what is installed with this program.

#ifndef KIVPLUG_SEARCH_PATH_H
#define KIVPLUG_SEARCH_PATH_H

#include <string>
#include <vector>

namespace kivplug {

struct search_path {
    std::vector<std::string> directories;
    std::string origin;  // who named them, for messages
};

// The given directories; when there are none, those of KIVPLUG_PATH; when there are none either,
// this program's own. There is at least one.
search_path chosen_path(std::vector<std::string> const& directories);

// The schema for descriptions that is installed with this program.
std::string installed_schema();

// The directory of the templates of 'kivplug new' that are installed with this program.
std::string installed_templates();

}  // namespace kivplug

#endif
