// The second step of a check: ids that several plug-ins take.

#ifndef KIVPLUG_CHECK_CONFLICT_STEP_H
#define KIVPLUG_CHECK_CONFLICT_STEP_H

#include <vector>

#include "checked_directory.h"

namespace kivplug {

// Gives every directory a report about ids that another one takes too. They are in the order in
// which a host would load them.
void check_conflicts(std::vector<checked_directory>& all);

}  // namespace kivplug

#endif
