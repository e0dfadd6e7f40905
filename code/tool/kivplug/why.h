// The verb why: which plug-in has an id, or why none has it.

#ifndef KIVPLUG_WHY_H
#define KIVPLUG_WHY_H

#include <string>
#include <vector>

#include "descriptor.h"

namespace kivplug {

struct why_options {
    std::string id;  // or a pattern for whole ids
};

// Loads the plug-ins of the directories, as any verb does, and prints what happened to the id.
// Returns whether it is registered and objects can be created. Checks the plug-ins that have the
// id, or could have it, as 'kivplug check' does.
bool why(byte_sink& out, std::vector<std::string> const& directories, why_options const& options);

}  // namespace kivplug

#endif
