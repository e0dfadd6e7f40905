// The last step of a check: the plug-ins are loaded, created and released in a process of their
// own.

#ifndef KIVPLUG_CHECK_TRIAL_STEP_H
#define KIVPLUG_CHECK_TRIAL_STEP_H

#include <chrono>
#include <string>
#include <vector>

#include "described_plugin.h"
#include "finding.h"

namespace kivplug {

// Tries the plug-ins of the directory, within limits. Whatever their code does, this returns.
// most_time is for one trial; a plug-in that breaks off the trial leaves the others another one.
void check_trial(std::string const& directory, std::vector<described_plugin> const& plugins,
                 std::chrono::seconds most_time, findings& found);

}  // namespace kivplug

#endif
