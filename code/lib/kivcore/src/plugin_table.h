// The registry's table: a map from plug-in id to entry in the order of plugin_id_less, and
// beside it an index that finds one id exactly. Takes no lock: the registry holds its own.
// Hashing an id needs none, so it is apart from the look-up.

#ifndef KIVCORE_PLUGIN_TABLE_H
#define KIVCORE_PLUGIN_TABLE_H

#include <cstddef>
#include <functional>
#include <map>
#include <memory_resource>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tsl/robin_map.h>

#include <kivcore/plugins.h>

#include "plugin_id.h"

namespace kivcore {

class plugins::plugin_table {
  public:
    // What stands under one id. The table holds the references.
    struct entry {
        factory* maker;  // may be null
        info* description;
    };

    // The same with the references.
    struct owned_entry {
        morbase::ptr_refcount<factory> maker;
        morbase::ptr_refcount<info> description;
    };

    static std::size_t hash(std::string const& id) { return std::hash<std::string_view>()(id); }

    // The entry under id, whose hash is given; null when there is none.
    entry const* find(std::string const& id, std::size_t hash_of_id) const {
        auto const place = by_id.find(std::string_view(id), hash_of_id);
        return place != by_id.end() ? &place->second : nullptr;
    }

    // Enters a pair under an id that has no entry yet.
    void enter(std::string const& id, owned_entry const& pair);

    // Replaces what is under an id that has an entry, and gives what was there.
    owned_entry replace(std::string const& id, owned_entry const& pair);

    // All ids that begin with start, and maybe other ids, in their order. The texts stay where
    // they are as long as the table lives, also without the lock.
    std::vector<std::string_view> ids_from(std::string_view start) const;

  private:
    using index =
        tsl::robin_map<std::string_view, entry, std::hash<std::string_view>, std::equal_to<>,
                       std::allocator<std::pair<std::string_view, entry>>, true>;

    std::string_view copied(std::string const& id);

    // Holds what a walk looks at close together, apart from the descriptions made in between.
    // It gives nothing back before its end, and the table grows only.
    // Not on the default resource, which is the host's to change and may go first.
    std::pmr::monotonic_buffer_resource memory{std::pmr::new_delete_resource()};
    std::pmr::map<ranked_id, owned_entry> entries{&memory};
    // The pointers are here as well so that a hit needs no look at the map.
    index by_id;
};

}  // namespace kivcore

#endif
