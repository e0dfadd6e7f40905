// The first step of a check: the description.

#ifndef KIVPLUG_CHECK_DESCRIPTION_STEP_H
#define KIVPLUG_CHECK_DESCRIPTION_STEP_H

#include <string>
#include <vector>

#include "described_plugin.h"
#include "finding.h"

namespace kivplug {

// Checks the description of the plug-in directory. Returns the plug-ins that the library would
// read from it.
std::vector<described_plugin> check_description(std::string const& directory, findings& found);

}  // namespace kivplug

#endif
