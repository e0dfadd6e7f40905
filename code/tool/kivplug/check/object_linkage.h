// Whether the dynamic linker finds everything that a shared object uses.

#ifndef KIVPLUG_CHECK_OBJECT_LINKAGE_H
#define KIVPLUG_CHECK_OBJECT_LINKAGE_H

#include "finding.h"
#include "library_graph.h"
#include "wording.h"

namespace kivplug {

// Libraries that are missing, versions that they lack, and symbols that nothing defines. The bound
// ones are not looked at: the object itself is to define them.
void check_linkage(library_graph const& graph, symbol_names const& bound, findings& found);

}  // namespace kivplug

#endif
