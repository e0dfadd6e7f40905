// What serves a plug-in, and which functions it has to bind for that.

#ifndef KIVPLUG_CHECK_BINDINGS_H
#define KIVPLUG_CHECK_BINDINGS_H

#include "facts.h"
#include "reporter.h"

namespace kivplug {

// Reports a flavor, category or type that nothing serves, and bindings that are missing, are not
// used or name what no symbol is called. The symbols of those are no longer sound.
void check_bindings(intended_plugin& plugin, reporter& to);

}  // namespace kivplug

#endif
