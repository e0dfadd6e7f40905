// What a check found in one plug-in directory.

#ifndef KIVPLUG_CHECK_CHECKED_DIRECTORY_H
#define KIVPLUG_CHECK_CHECKED_DIRECTORY_H

#include <string>
#include <vector>

#include "described_plugin.h"
#include "finding.h"

namespace kivplug {

// The steps of a check, in their order.
enum class step { description, conflicts, binary, trial };

struct step_report {
    step of;
    bool is_skipped = false;  // an earlier step found what makes this one pointless
    findings found = {};
};

struct checked_directory {
    std::string path;
    std::vector<described_plugin> plugins = {};
    std::vector<step_report> steps = {};
};

}  // namespace kivplug

#endif
