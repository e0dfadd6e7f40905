// What a trial does with a plug-in directory, in a process that may end at any time.

#ifndef KIVPLUG_CHECK_TRIAL_RUN_H
#define KIVPLUG_CHECK_TRIAL_RUN_H

#include <cstddef>
#include <string>
#include <vector>

#include "described_plugin.h"
#include "trial_record.h"

namespace kivplug {

// Opens the shared object, makes and releases objects of the plug-ins from this one on, and closes
// it. Writes into the record how far it came. Ends the process at the first finding.
void run_trial(std::string const& directory, std::vector<described_plugin> const& plugins,
               std::size_t first, trial_record& record);

}  // namespace kivplug

#endif
