// What a description says of one plug-in, with the places where it says so.

#ifndef KIVPLUG_CHECK_DESCRIBED_PLUGIN_H
#define KIVPLUG_CHECK_DESCRIBED_PLUGIN_H

#include <string>
#include <vector>

#include "finding.h"

namespace kivplug {

// A function that the library looks up in the shared object.
struct bound_function {
    std::string function;  // as the library calls it: create, open, read ...
    std::string symbol;    // as the shared object should export it
    location where;        // of the bind element
};

// One plugin element, as the library reads it.
struct described_plugin {
    location where;  // of its start tag
    std::string category;
    std::string type;
    std::string flavor;
    std::vector<std::string> ids;  // as the registry composes them
    std::vector<bound_function> functions;
    bool binds_more = false;  // by elements with mistakes: those functions are not known
};

}  // namespace kivplug

#endif
