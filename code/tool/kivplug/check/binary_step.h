// The third step of a check: the shared object, read as a file. None of its code is run.

#ifndef KIVPLUG_CHECK_BINARY_STEP_H
#define KIVPLUG_CHECK_BINARY_STEP_H

#include <string>
#include <vector>

#include "described_plugin.h"
#include "finding.h"

namespace kivplug {

// Checks the shared object of the plug-in directory, for what the plug-ins bind.
void check_binary(std::string const& directory, std::vector<described_plugin> const& plugins,
                  findings& found);

}  // namespace kivplug

#endif
