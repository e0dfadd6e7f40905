// Whether a plug-in directory has a file where the library looks for the shared object.

#ifndef KIVPLUG_CHECK_OBJECT_PLACE_H
#define KIVPLUG_CHECK_OBJECT_PLACE_H

#include <string>

#include "finding.h"

namespace kivplug {

// The path at which the library opens it.
std::string object_path(std::string const& directory);

// Whether there is a file to be read; reports why not.
bool check_object_place(std::string const& directory, findings& found);

}  // namespace kivplug

#endif
