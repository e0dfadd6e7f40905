// Ids and plug-ins, shared by the measurements of a filled registry.

#ifndef BENCH_IDS_H
#define BENCH_IDS_H

#include <cstddef>
#include <string>
#include <vector>

#include <kivcore/kivcore.h>

namespace bench {

class null_plugin final : public kivcore::plugin {
  public:
    std::string kind() override { return "null"; }
};

class null_factory final : public kivcore::plugins::factory {
  public:
    morbase::ptr_refcount<kivcore::plugin> create() override { return new null_plugin; }
};

// Ids like those of a large collection: 60 in 100 are readers, a few of them for "wav";
// several developers, several versions of each.
inline std::vector<std::string> make_ids(std::size_t count) {
    static char const* const k_developers[] = {"acme", "acme-labs", "kivcore", "north.io"};
    std::vector<std::string> ids;
    for (std::size_t i = 0; ids.size() < count; ++i) {
        std::size_t const plugin = i / 4;
        bool const reads = plugin % 10 < 6;
        std::string const key =
            reads && plugin % 200 == 5 ? "wav" : "format" + std::to_string(plugin / 4);
        ids.push_back(std::string("io/") + (reads ? "read/" : "write/") + key + "/" +
                      k_developers[plugin % 4] + (key == "wav" ? std::to_string(plugin) : "") +
                      "/" + std::to_string(i % 4) + "." + std::to_string(plugin % 12));
    }
    return ids;
}

inline morbase::ptr_refcount<kivcore::plugins> make_registry(std::vector<std::string> const& ids) {
    morbase::ptr_refcount<kivcore::plugins> registry(new kivcore::plugins("/"));
    for (std::string const& id : ids) {
        registry->register_with_id(id, new null_factory, "name");
    }
    return registry;
}

}  // namespace bench

#endif
