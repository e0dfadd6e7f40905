// The values of a description, and the ids that they make.

#ifndef KIVPLUG_CHECK_VALUES_H
#define KIVPLUG_CHECK_VALUES_H

#include "facts.h"
#include "reporter.h"

namespace kivplug {

// Reports values that are missing, and those that make ids that no host looks for. Takes blanks
// away around values, which it reports too.
void check_values(intended_plugin& plugin, reporter& to);

}  // namespace kivplug

#endif
