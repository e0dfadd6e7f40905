// What the end of a trial says about a plug-in.

#ifndef KIVPLUG_CHECK_TRIAL_VERDICT_H
#define KIVPLUG_CHECK_TRIAL_VERDICT_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "confined_process.h"
#include "described_plugin.h"
#include "finding.h"
#include "trial_record.h"

namespace kivplug {

// What was tried, and for how long at most.
struct trial_subject {
    std::string const& directory;
    std::vector<described_plugin> const& plugins;
    std::chrono::seconds most_time;
};

// Empty when nothing is wrong.
std::optional<finding> verdict_on(trial_subject const& tried, trial_record const& record,
                                  process_end const& end);

}  // namespace kivplug

#endif
