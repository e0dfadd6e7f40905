// The verbs that show what is known about plug-ins: list and describe. Neither opens a shared
// object.

#ifndef KIVPLUG_INSPECT_H
#define KIVPLUG_INSPECT_H

#include <string>

#include "descriptor.h"
#include "host.h"

namespace kivplug {

struct list_options {
    std::string pattern;  // empty for every id
    bool json = false;
};

// One line for each id: the id, the flavor and the name.
void list(host const& from, byte_sink& out, list_options const& options);

struct describe_options {
    std::string id;
    bool json = false;
};

// One line for each key of the description.
void describe(host const& from, byte_sink& out, describe_options const& options);

}  // namespace kivplug

#endif
