// Why a plug-in directory has no description.

#ifndef KIVPLUG_CHECK_MISSING_DESCRIPTION_H
#define KIVPLUG_CHECK_MISSING_DESCRIPTION_H

#include <string>

#include "finding.h"

namespace kivplug {

// Reports what was meant as the description of a directory that has none, or that nothing was.
void report_missing_description(std::string const& directory, findings& found);

// The directory's own name, also of "." and "a/".
std::string name_of(std::string const& directory);

// The name of a file in the directory that must be a description; empty for none.
std::string misnamed_description(std::string const& directory);

}  // namespace kivplug

#endif
