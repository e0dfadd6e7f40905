// Whether a shared object exports the functions that a description binds.

#ifndef KIVPLUG_CHECK_BOUND_FUNCTIONS_H
#define KIVPLUG_CHECK_BOUND_FUNCTIONS_H

#include <vector>

#include "described_plugin.h"
#include "library_graph.h"
#include "wording.h"

namespace kivplug {

// The names of all functions that the descriptions bind.
symbol_names bound_names(std::vector<described_plugin> const& plugins);

// True when it does, as far as descriptions bind any.
bool check_bound_functions(library_graph const& graph, std::vector<described_plugin> const& plugins,
                           findings& found);

}  // namespace kivplug

#endif
