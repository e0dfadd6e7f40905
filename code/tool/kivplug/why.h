// The verb why: how an id came to be registered, or what kept it from that.

#ifndef KIVPLUG_WHY_H
#define KIVPLUG_WHY_H

#include <string>
#include <vector>

#include "descriptor.h"

namespace kivplug {

struct why_options {
    std::string id;  // or a pattern for whole ids
};

// Loads the plug-ins of the directories, as any verb does, and prints what happened on the way to
// the id. True if it is registered and objects can be created. The plug-ins that give the id, or
// might, are checked as by 'kivplug check'.
bool why(byte_sink& out, std::vector<std::string> const& directories, why_options const& options);

}  // namespace kivplug

#endif
