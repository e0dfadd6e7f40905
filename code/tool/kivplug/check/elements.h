// The elements of a description: which of them the library reads, and as what they are meant.

#ifndef KIVPLUG_CHECK_ELEMENTS_H
#define KIVPLUG_CHECK_ELEMENTS_H

#include <vector>

#include "facts.h"
#include "reporter.h"

namespace kivplug {

// The plug-ins of a well-formed description. Reports elements that the library does not read, or
// reads as something else.
std::vector<intended_plugin> intended_plugins(reporter& to);

}  // namespace kivplug

#endif
