// An object and the libraries that it needs, as the dynamic linker would load them.

#ifndef KIVPLUG_CHECK_LIBRARY_GRAPH_H
#define KIVPLUG_CHECK_LIBRARY_GRAPH_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "elf_object.h"
#include "library_search.h"

namespace kivplug {

struct graph_node {
    std::shared_ptr<elf_object const> object;
    std::string name;    // that it is needed under; empty for the first node
    std::size_t parent;  // the index of the node that needs it; its own for the first node
};

struct missing_library {
    std::string name;
    std::size_t parent;
    searched_library search;
};

// Breadth first: in this order the dynamic linker searches them for a function.
struct library_graph {
    std::vector<graph_node> nodes;
    std::vector<missing_library> missing;

    // The nodes from this one to the first.
    std::vector<elf_object const*> loaders(std::size_t node) const;

    // The first node that exports the symbol; null when there is none.
    graph_node const* exporter(std::string const& symbol) const;
};

// A library that this process has loaded counts as found.
library_graph graph_of(std::shared_ptr<elf_object const> const& first);

// What each host has that links libkivcore; empty if that cannot be read. Read once.
library_graph const& host_graph();

}  // namespace kivplug

#endif
