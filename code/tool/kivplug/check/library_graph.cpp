#include "library_graph.h"

#include <link.h>

#include <algorithm>
#include <map>
#include <set>

namespace kivplug {

namespace {

// Against an object that was made to need very many.
constexpr std::size_t k_most_libraries = 300;

using path_map = std::map<std::string, std::string>;

// The files of this process by the names that they are needed under.
path_map const& loaded_files() {
    static path_map const files = [] {
        path_map found;
        auto const add = [](dl_phdr_info* loaded, std::size_t, void* to) {
            std::string const path = loaded->dlpi_name;
            static_cast<path_map*>(to)->emplace(path.substr(path.rfind('/') + 1), path);
            return 0;
        };
        dl_iterate_phdr(add, &found);
        return found;
    }();
    return files;
}

class graph_builder {
  public:
    // read: libraries of which the nodes are taken over.
    graph_builder(std::shared_ptr<elf_object const> const& first, library_graph const& read)
        : known_graph(read) {
        graph.nodes.push_back({first, "", 0});
        known.insert(first->soname());
    }

    library_graph build() {
        for (std::size_t node = 0; node < graph.nodes.size(); ++node) {
            auto const object = graph.nodes[node].object;  // the vector grows
            for (auto const& name : object->needed()) {
                if (known.size() < k_most_libraries && known.insert(name).second) {
                    add(name, node);
                }
            }
        }
        return graph;
    }

  private:
    void add(std::string const& name, std::size_t parent) {
        auto const& read = known_graph.nodes;
        auto const found = std::find_if(read.begin(), read.end(), [&](graph_node const& each) {
            return each.name == name || each.object->soname() == name;
        });
        if (found != read.end()) {
            known.insert(found->object->soname());
            graph.nodes.push_back({found->object, name, parent});
            return;
        }
        auto search = search_for(name, parent);
        if (search.path.empty()) {
            graph.missing.push_back({name, parent, search});
            return;
        }
        try {
            auto const object = std::make_shared<elf_object const>(search.path);
            known.insert(object->soname());
            graph.nodes.push_back({object, name, parent});
        } catch (malformed const& fault) {
            search.unusable = "\"" + search.path + "\" " + fault.what();
            graph.missing.push_back({name, parent, search});
        }
    }

    searched_library search_for(std::string const& name, std::size_t parent) const {
        auto const loaded = loaded_files().find(name);
        if (loaded == loaded_files().end()) {
            return find_library(name, graph.loaders(parent));
        }
        searched_library found;
        found.path = loaded->second;
        return found;
    }

    library_graph const& known_graph;
    library_graph graph;
    std::set<std::string> known;  // what is needed, and what that calls itself
};

// The object that has the library in it: a host with the static library exports it.
std::shared_ptr<elf_object const> library_object() {
    auto const& files = loaded_files();
    std::string const start = "libkivcore.so";
    auto const found = files.lower_bound(start);
    bool const is_shared =
        found != files.end() && found->first.compare(0, start.size(), start) == 0;
    return is_shared ? std::make_shared<elf_object const>(found->second)
                     : std::make_shared<elf_object const>("/proc/self/exe", elf_role::program);
}

}  // namespace

std::vector<elf_object const*> library_graph::loaders(std::size_t node) const {
    std::vector<elf_object const*> chain = {nodes[node].object.get()};
    for (; nodes[node].parent != node; node = nodes[node].parent) {
        chain.push_back(nodes[nodes[node].parent].object.get());
    }
    return chain;
}

graph_node const* library_graph::exporter(std::string const& symbol) const {
    auto const exports = [&](graph_node const& node) {
        auto const& symbols = node.object->symbols();
        return std::any_of(symbols.begin(), symbols.end(), [&](elf_symbol const& each) {
            return each.name == symbol && each.is_default_version && is_exported(each);
        });
    };
    auto const found = std::find_if(nodes.begin(), nodes.end(), exports);
    return found != nodes.end() ? &*found : nullptr;
}

library_graph graph_of(std::shared_ptr<elf_object const> const& first) {
    return graph_builder(first, host_graph()).build();
}

library_graph const& host_graph() {
    static library_graph const graph = [] {
        try {
            return graph_builder(library_object(), {}).build();
        } catch (malformed const&) {
            return library_graph();  // replaced since it was loaded
        }
    }();
    return graph;
}

}  // namespace kivplug
